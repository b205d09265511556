#pragma once

/// The plain values of the ACL model: enumerations, rule identities, filters, rules and remarks.

#include <array>
#include <cstdint>
#include <ostream>
#include <string>

#include "kavet/Addr.h"
#include "qel/Exception.h"
#include "qel/Ptr.h"
#include "qel/String8.h"
#include "qel/Time.h"

namespace Acl {

/// What traffic an ACL sees; the key of per-type collections.
enum class AclType : uint32_t { ipv4 = 0, ipv6 = 1, mac = 2 };

constexpr AclType ipv4() { return AclType::ipv4; }
constexpr AclType ipv6() { return AclType::ipv6; }
constexpr AclType mac() { return AclType::mac; }
inline constexpr std::array kAclTypes = {AclType::ipv4, AclType::ipv6, AclType::mac};

/// "ipv4", "ipv6" or "mac"; "unknown" for any other value.
const char* stringValue(AclType type);
std::string valueToStrep(AclType type);
std::ostream& operator<<(std::ostream& out, AclType type);

enum class Action : uint32_t { permit = 0, deny = 1 };
enum class RangeOperator : uint32_t { any = 0, eq = 1, gt = 2, lt = 3, neq = 4, range = 5 };
/// The direction of an interface binding.
enum class AclDirection : uint32_t { ingress = 0, egress = 1 };

/// The bits of a filter's TCP flags.
enum TcpFlag : uint16_t { fin = 1, syn = 2, rst = 4, psh = 8, ack = 16, urg = 32 };
struct TcpFlagName {
  const char* name;
  TcpFlag flag;
};
inline constexpr std::array kTcpFlagNames = {
    TcpFlagName{"fin", fin}, TcpFlagName{"syn", syn}, TcpFlagName{"rst", rst},
    TcpFlagName{"psh", psh}, TcpFlagName{"ack", ack}, TcpFlagName{"urg", urg},
};

/// The identity of one rule within an ACL's configuration. Counters are kept under it.
class UniqueId {
 public:
  /// The zero identity.
  UniqueId() { doInit(); }
  UniqueId(uint32_t number, uint16_t major, uint16_t minor)
      : number_(number), major_(major), minor_(minor) {
    doInit();
  }
  /// The identity that no rule has: every field all ones.
  static UniqueId invalid() { return {0xFFFFFFFF, 0xFFFF, 0xFFFF}; }

  uint32_t number() const { return number_; }
  uint16_t majorNumber() const { return major_; }
  uint16_t minorNumber() const { return minor_; }
  size_t hash() const { return hash_; }

  /// Completes the identity after its fields are set: computes the hash.
  void doInit();

  friend bool operator==(const UniqueId& a, const UniqueId& b) {
    return a.number_ == b.number_ && a.major_ == b.major_ && a.minor_ == b.minor_;
  }
  template <class H>
  friend H AbslHashValue(H state, const UniqueId& id) {
    return H::combine(std::move(state), static_cast<uint64_t>(id.number_) << 32 |
                                            static_cast<uint32_t>(id.major_) << 16 | id.minor_);
  }

 private:
  uint32_t number_ = 0;
  uint16_t major_ = 0;
  uint16_t minor_ = 0;
  uint32_t hash_ = 0;
};

/// A comparison of a TTL or hop limit.
struct RangeCondition {
  RangeOperator oper = RangeOperator::any;
  uint32_t value = 0;
  friend bool operator==(const RangeCondition&, const RangeCondition&) = default;
};

/// A comparison of a port: the ports as text, for example "80", "80 443" or "1024-65535".
struct PortRange {
  RangeOperator oper = RangeOperator::any;
  Qel::String8 ports;
  friend bool operator==(const PortRange&, const PortRange&) = default;
};

/// What IPv4 and IPv6 filters have in common.
struct IpFilterBase {
  static constexpr uint32_t kMaxTni = 16777215;

  /// Throws `Qel::RangeException` for a tenant network identifier above 24 bits.
  explicit IpFilterBase(uint32_t tni = 0);

  /// IP protocol number; 0 is any.
  uint32_t proto = 0;
  RangeCondition ttl;
  PortRange sport;
  PortRange dport;
  /// Bits of `TcpFlag`.
  uint16_t tcpFlags = 0;
  bool established = false;
  bool tracked = false;
  uint16_t icmpType = 0;
  uint16_t icmpCode = 0;

  uint32_t tni() const { return tni_; }
  friend bool operator==(const IpFilterBase&, const IpFilterBase&) = default;

 private:
  uint32_t tni_;
};

struct IpFilter : IpFilterBase {
  using IpFilterBase::IpFilterBase;
  Kavet::IpAddr source;
  Kavet::IpAddr sourceMask;
  Kavet::IpAddr destination;
  Kavet::IpAddr destinationMask;
  bool fragments = false;
  friend bool operator==(const IpFilter&, const IpFilter&) = default;
};

struct Ip6Prefix {
  Kavet::Ip6Addr address;
  /// 0 to 128.
  uint32_t length = 0;
  friend bool operator==(const Ip6Prefix&, const Ip6Prefix&) = default;
};

class Ip6Filter : public IpFilterBase {
 public:
  using IpFilterBase::IpFilterBase;
  const Ip6Prefix& source() const { return source_; }
  const Ip6Prefix& destination() const { return destination_; }
  void sourceIs(const Ip6Prefix& prefix) { source_ = prefix; }
  void destinationIs(const Ip6Prefix& prefix) { destination_ = prefix; }
  friend bool operator==(const Ip6Filter&, const Ip6Filter&) = default;

 private:
  Ip6Prefix source_;
  Ip6Prefix destination_;
};

struct MacFilter {
  static constexpr uint32_t kMaxMplsLabel = 0xFFFFF;

  /// Throws `Qel::RangeException` for an MPLS label above 20 bits.
  explicit MacFilter(uint32_t mplsLabel = 0);

  Kavet::EthAddr source;
  Kavet::EthAddr sourceMask;
  Kavet::EthAddr destination;
  Kavet::EthAddr destinationMask;
  /// EtherType; 0 is any.
  uint32_t proto = 0;

  uint32_t mplsLabel() const { return mplsLabel_; }
  friend bool operator==(const MacFilter&, const MacFilter&) = default;

 private:
  uint32_t mplsLabel_;
};

template <class FilterT>
struct RuleConfig {
  using Filter = FilterT;
  Action action = Action::permit;
  bool log = false;
  FilterT filter;
  friend bool operator==(const RuleConfig&, const RuleConfig&) = default;
};
using IpRuleConfig = RuleConfig<IpFilter>;
using Ip6RuleConfig = RuleConfig<Ip6Filter>;
using MacRuleConfig = RuleConfig<MacFilter>;

struct RemarkConfig {
  Qel::String8 text;
  friend bool operator==(const RemarkConfig&, const RemarkConfig&) = default;
};

struct RuleStatus {
  uint64_t pkts = 0;
  /// When the counter last changed.
  Qel::Seconds lastUpdateTime = 0;
  friend bool operator==(const RuleStatus&, const RuleStatus&) = default;
};

}  // namespace Acl
