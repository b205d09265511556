#include "Model.h"

namespace Bench {

namespace {

template <class Filter>
void fillIp(Filter& filter, size_t number) {
  filter.proto = 6;
  filter.dport = {Acl::RangeOperator::eq, "443"};
  filter.sport = {Acl::RangeOperator::range, "1024-65535"};
  filter.established = number % 3 == 0;
  filter.tcpFlags = Acl::syn | Acl::ack;
}

}  // namespace

Acl::UniqueId idOf(size_t rule) { return {Shape::sequence(rule), 0, 0}; }

Acl::IpRuleConfig ipRule(size_t number) {
  Acl::IpRuleConfig rule;
  rule.action = number % 2 == 0 ? Acl::Action::permit : Acl::Action::deny;
  rule.log = number % 5 == 0;
  fillIp(rule.filter, number);
  rule.filter.source = Kavet::IpAddr(static_cast<uint32_t>(0x0A000000U + number * 256));
  rule.filter.sourceMask = Kavet::IpAddr(0xFFFFFF00U);
  rule.filter.destination = Kavet::IpAddr(0xC0000200U);
  rule.filter.destinationMask = Kavet::IpAddr(0xFFFFFF00U);
  return rule;
}

std::string remarkOf(size_t number) {
  return number % 10 == 0 ? "ticket " + std::to_string(number) : std::string();
}

Qel::Ptr<Acl::AclSubConfig> version(const Shape& shape, Acl::AclType type, size_t first) {
  const auto made = Qel::make<Acl::AclSubConfig>();
  made->countersEnabledIs(true);
  for (size_t rule = 0; rule < shape.rulesPerAcl; ++rule) {
    const size_t number = first + rule;
    const Acl::IpRuleConfig ip = ipRule(number);
    switch (type) {
      case Acl::AclType::ipv4:
        made->ipRuleByIdIs(idOf(rule), ip);
        break;
      case Acl::AclType::ipv6: {
        Acl::Ip6RuleConfig ip6;
        ip6.action = ip.action;
        fillIp(ip6.filter, number);
        made->ip6RuleByIdIs(idOf(rule), ip6);
        break;
      }
      case Acl::AclType::mac: {
        Acl::MacRuleConfig mac;
        mac.action = ip.action;
        mac.filter.proto = 0x0800;
        made->macRuleByIdIs(idOf(rule), mac);
        break;
      }
    }
    made->ruleBySequenceIs(Shape::sequence(rule), idOf(rule));
    const std::string remark = remarkOf(number);
    if (!remark.empty()) {
      made->remarkBySequenceIs(Shape::sequence(rule), Acl::RemarkConfig{Qel::String8(remark)});
    }
  }
  return made;
}

Qel::Ptr<Acl::AclConfig> aclConfig(const Shape& shape, Acl::AclType type, size_t acl) {
  const auto made = Qel::make<Acl::AclConfig>(Qel::Name(Qel::String8(Shape::aclName(acl))), type);
  made->currCfgIs(version(shape, type, acl * shape.rulesPerAcl));
  return made;
}

Qel::Ptr<Acl::AclStatus> aclStatus(const Shape& shape, size_t acl, Qel::Seconds now) {
  const auto made = Qel::make<Acl::AclStatus>(Qel::Name(Qel::String8(Shape::aclName(acl))));
  for (size_t rule = 0; rule < shape.rulesPerAcl; ++rule) {
    made->ruleStatusIs(idOf(rule), {1000 + rule, now});
  }
  return made;
}

}  // namespace Bench
