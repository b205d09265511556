#pragma once

/// A port condition, put together from several leafs: the port or our list or our text, and our
/// operator.

#include <optional>
#include <string>
#include <vector>

#include "Leaves.h"

namespace OpenConfig {

class Ports {
 public:
  /// `source-port`: a number, "low..high" or ANY.
  void portIs(const Ref& leaf);
  /// `source-port-operator`.
  void operatorIs(const Ref& leaf);
  /// `source-ports`.
  void listIs(const Ref& leaf);
  /// `source-port-text`.
  void textIs(const Ref& leaf);

  /// The condition; throws `Refused` where the leafs do not go together.
  Acl::PortRange range() const;

 private:
  enum class Form { none, any, one, range, list, text };

  void requireCount(Acl::RangeOperator oper) const;

  Form form_ = Form::none;
  std::vector<uint32_t> numbers_;
  Ref port_;
  Ref list_;
  Ref text_;
  Ref operatorLeaf_;
  std::optional<Acl::RangeOperator> operator_;
};

/// The operators of hop limits, which have one operand.
Acl::RangeOperator readHopLimitOperator(const Ref& leaf);

}  // namespace OpenConfig
