// The parsing constructor of AclRuleTableIndex: any text either is the string form of an index, and
// the index gives that form back, or is refused with one of the two exceptions of a reader.

#include <algorithm>
#include <string_view>
#include <vector>

#include "CpuLimit.h"
#include "Input.h"
#include "Require.h"
#include "model/AclRuleTableIndex.h"
#include "qel/Exception.h"

namespace Fuzz {

namespace {

using AclSnmp::AclRuleTableIndex;

bool isPrintable(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return c >= 0x20 && c <= 0x7e; });
}

/// The number in the form with its leading zeros taken off, as they are read but not written.
std::string withoutLeadingZeros(std::string_view form) {
  constexpr std::string_view kBefore = ", 'seqId': ";
  const size_t digits = form.rfind(kBefore) + kBefore.size();
  size_t first = digits;
  while (form[first] == '0' && form[first + 1] >= '0' && form[first + 1] <= '9') ++first;
  return std::string(form.substr(0, digits)) + std::string(form.substr(first));
}

void readsBack(const AclRuleTableIndex& index, std::string_view after) {
  const std::string text = valueToStrep(index) + std::string(after);
  const std::string_view view(text);
  auto current = view.begin();
  require(AclRuleTableIndex(current, view.end()) == index, "an index reads back as it was");
  require(std::string_view(current, view.end()) == after, "reading stops just past the form");
}

void parse(std::string_view text) {
  auto current = text.begin();
  try {
    const AclRuleTableIndex index(current, text.end());
    const std::string_view form(text.begin(), current);
    require(valueToStrep(index) == withoutLeadingZeros(form), "an index gives back what was read");
    readsBack(index, text.substr(form.size()));
  } catch (const Qel::SyntaxException& error) {
    require(isPrintable(error.what()), "a message is one printable line");
  } catch (const Qel::RangeException& error) {
    require(isPrintable(error.what()), "a message is one printable line");
  }
  require(text.begin() <= current && current <= text.end(), "reading stays inside the text");
}

AclRuleTableIndex indexOf(Input& input) {
  const auto seqId = static_cast<uint32_t>(input.number());
  return {Snmp::String(Qel::String8(input.octets())), seqId};
}

/// The sub-identifiers of a row's OID: the length, the octets, the number.
std::vector<uint32_t> oidOf(const AclRuleTableIndex& index) {
  std::vector<uint32_t> oid = {static_cast<uint32_t>(index.aclName().size())};
  for (const char c : index.aclName().string8().view())
    oid.push_back(static_cast<unsigned char>(c));
  oid.push_back(index.seqId());
  return oid;
}

}  // namespace

}  // namespace Fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace Fuzz;
  const CpuLimit limit;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  parse(text);
  // The same octets as two indexes and what follows their forms.
  Input input(data, size);
  const auto a = indexOf(input);
  const auto b = indexOf(input);
  readsBack(a, text);
  require((a <=> b) == (oidOf(a) <=> oidOf(b)), "indexes are in the order of their OIDs");
  require((a == b) == (valueToStrep(a) == valueToStrep(b)), "a form stands for one index");
  // The form of a real index, cut and changed at one place.
  std::string form = valueToStrep(a);
  parse(std::string_view(form).substr(0, input.number() % (form.size() + 1)));
  form[input.number() % form.size()] = static_cast<char>(input.octet());
  parse(form);
  return 0;
}
