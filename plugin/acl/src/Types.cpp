#include "acl/Types.h"

namespace Acl {

const char* stringValue(AclType type) {
  switch (type) {
    case AclType::ipv4:
      return "ipv4";
    case AclType::ipv6:
      return "ipv6";
    case AclType::mac:
      return "mac";
  }
  return "unknown";
}

std::string valueToStrep(AclType type) { return stringValue(type); }

std::ostream& operator<<(std::ostream& out, AclType type) { return out << stringValue(type); }

void UniqueId::doInit() {
  // A finalizer in the manner of splitmix64: every field reaches every bit.
  uint64_t mixed =
      (static_cast<uint64_t>(number_) << 32) | (static_cast<uint64_t>(major_) << 16) | minor_;
  mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9U;
  mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EBU;
  hash_ = static_cast<uint32_t>(mixed ^ (mixed >> 31));
}

IpFilterBase::IpFilterBase(uint32_t tni) : tni_(tni) {
  if (tni > kMaxTni) {
    throw Qel::RangeException("IpFilterBase::tni < 0 or > 16777215 not allowed");
  }
}

MacFilter::MacFilter(uint32_t mplsLabel) : mplsLabel_(mplsLabel) {
  if (mplsLabel > kMaxMplsLabel) {
    throw Qel::RangeException("MacFilter::mplsLabel < 0 or > 0xFFFFF not allowed");
  }
}

}  // namespace Acl
