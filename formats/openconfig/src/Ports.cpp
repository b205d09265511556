#include "Ports.h"

#include <charconv>

#include "Names.h"
#include "acl/Limits.h"

namespace OpenConfig {

namespace {

using Acl::RangeOperator;

constexpr uint32_t kMaxPort = 65535;

std::optional<uint32_t> portNumber(std::string_view digits) {
  uint32_t port = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), port);
  if (error != std::errc() || end != digits.data() + digits.size() || port > kMaxPort) {
    return std::nullopt;
  }
  return port;
}

}  // namespace

RangeOperator readHopLimitOperator(const Ref& leaf) {
  return readNamed(leaf, kHopLimitOperators, {});
}

void Ports::portIs(const Ref& leaf) {
  port_ = leaf;
  if (leaf.kind() == Kind::natural && leaf.number() <= kMaxPort) {
    form_ = Form::one;
    numbers_ = {static_cast<uint32_t>(leaf.number())};
    return;
  }
  if (leaf.kind() == Kind::string) {
    const std::string_view text = withoutModule(leaf.text(), kMatchTypesModule);
    if (text == "ANY") {
      form_ = Form::any;
      numbers_.clear();
      return;
    }
    if (const size_t dots = text.find(".."); dots != std::string_view::npos) {
      const auto low = portNumber(text.substr(0, dots));
      const auto high = portNumber(text.substr(dots + 2));
      if (low && high && *low <= *high) {
        form_ = Form::range;
        numbers_ = {*low, *high};
        return;
      }
    }
  }
  refuse(leaf, "a number from 0 to 65535, a range such as \"1024..65535\" or ANY");
}

void Ports::operatorIs(const Ref& leaf) {
  operatorLeaf_ = leaf;
  operator_ = readNamed(leaf, kPortOperators, {});
}

void Ports::listIs(const Ref& leaf) {
  list_ = leaf;
  std::vector<uint32_t> numbers;
  readList(leaf, [&](const Ref& port) { numbers.push_back(readNumber(port, 0, kMaxPort)); });
  if (numbers.empty()) refuse(leaf, "an empty list", "at least one port");
  form_ = Form::list;
  numbers_ = std::move(numbers);
}

void Ports::textIs(const Ref& leaf) {
  const std::string text = readString(leaf, Acl::kMaxPortsOctets);
  if (!std::all_of(text.begin(), text.end(), [](char c) { return c >= 0x20 && c <= 0x7e; })) {
    refuse(leaf, "ports in printable ASCII such as \"1-1023 8080\"");
  }
  text_ = leaf;
  form_ = Form::text;
}

void Ports::requireCount(RangeOperator oper) const {
  const bool twoWanted = oper == RangeOperator::range;
  const bool oneWanted = oper == RangeOperator::gt || oper == RangeOperator::lt;
  if (twoWanted && (numbers_.size() != 2 || numbers_[0] > numbers_[1])) {
    refuse(operatorLeaf_, "\"range\"", "beside it a lower and an upper port");
  }
  if (oneWanted && numbers_.size() != 1) {
    refuse(operatorLeaf_, operatorLeaf_.shown(), "beside it one port");
  }
  if (!twoWanted && form_ == Form::range) {
    refuse(operatorLeaf_, operatorLeaf_.shown(), "\"range\" beside a range of ports");
  }
}

Acl::PortRange Ports::range() const {
  if (port_ && list_) refuse(list_, "a list of ports beside one port", "one of the two");
  if (text_ && (port_ || list_)) refuse(text_, "a text beside ports", "one of the two");
  if (form_ == Form::none || form_ == Form::any) {
    if (operator_) refuse(operatorLeaf_, operatorLeaf_.shown(), "beside it a port");
    return {};
  }
  const RangeOperator oper =
      operator_.value_or(form_ == Form::range ? RangeOperator::range : RangeOperator::eq);
  if (form_ == Form::text) return {oper, Qel::String8(text_.text())};
  if (operator_) requireCount(oper);
  std::string text;
  const char* separator = oper == RangeOperator::range ? "-" : " ";
  for (const uint32_t port : numbers_) {
    text += (text.empty() ? "" : separator) + std::to_string(port);
  }
  if (text.size() > Acl::kMaxPortsOctets) {
    refuse(list_, "ports of " + std::to_string(text.size()) + " octets as text",
           "at most " + std::to_string(Acl::kMaxPortsOctets));
  }
  return {oper, Qel::String8(text)};
}

}  // namespace OpenConfig
