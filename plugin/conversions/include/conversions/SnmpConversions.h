#pragma once

/// Encoders of ACL model values into the octets of INTEGER and BITS values. Each writes into the
/// caller's buffer and returns how many octets it wrote. In a BITS value, bit 0 is the most
/// significant bit of the first octet (RFC 2578, section 7.1.4).

#include "acl/Status.h"
#include "acl/Types.h"
#include "qel/Ptr.h"

/// The operator's number. A value that is none of the six is a fatal assertion.
int RangeOperCodeToAsnInteger(const Acl::RangeOperator& value, unsigned char* buffer, int length);

/// The action's number. A value that is neither permit nor deny is a fatal assertion.
int ActionCodeToAsnInteger(const Acl::Action& value, unsigned char* buffer, int length);

/// The octet with its bits in reverse order.
unsigned char ReverseBits(unsigned char octet);

/// One octet with fin as bit 0 to urg as bit 5; nothing where `length` is not positive.
int TcpFlagsToAsnBits(const Acl::IpFilterBase& filter, unsigned char* buffer, int length);

/// One octet with ACLs supported as bit 0, logging 1, counters 2, router ACLs 3; nothing where
/// `length` is not positive. Without a status no bit is set.
int DpAclSupportFlagsToAsnBits(const Qel::Ptr<const Acl::Status>& status, unsigned char* buffer,
                               int length);
