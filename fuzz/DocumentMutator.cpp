// Changes documents so that most of them still are JSON, and many still are documents: values and
// names change, parts come, go and move.

#include <array>
#include <cstring>
#include <iterator>
#include <nlohmann/json.hpp>
#include <random>
#include <string>
#include <vector>

#include "Pool.h"
#include "openconfig/Document.h"

extern "C" size_t LLVMFuzzerMutate(uint8_t* data, size_t size, size_t maxSize);

namespace Fuzz {

namespace {

// Keeps the order of members.
using Json = nlohmann::ordered_json;

class DocumentMutator {
 public:
  explicit DocumentMutator(unsigned seed) : random_(seed) {}

  size_t below(size_t bound) { return random_() % bound; }

  void change(Json& document) {
    std::vector<Json*> all;
    collect(document, all);
    Json& one = *all[below(all.size())];
    switch (below(8)) {
      case 0: {
        const Json other = *all[below(all.size())];
        one = other;
        break;
      }
      case 1:
        takeOut(one);
        break;
      case 2:
        putIn(one, *all[below(all.size())]);
        break;
      case 3:
        rename(one, *all[below(all.size())]);
        break;
      default:
        changeLeaf(*all[below(all.size())]);
    }
  }

 private:
  static void collect(Json& value, std::vector<Json*>& all) {
    all.push_back(&value);
    for (Json& part : value) {
      if (value.is_structured()) collect(part, all);
    }
  }

  template <class Part>
  static auto at(Part& value, size_t place) {
    return std::next(value.begin(), static_cast<std::ptrdiff_t>(place));
  }

  void takeOut(Json& value) {
    if (!value.is_structured() || value.empty()) return changeLeaf(value);
    value.erase(at(value, below(value.size())));
  }

  void putIn(Json& value, const Json& other) {
    const Json copy = other;
    if (value.is_array()) {
      value.insert(at(value, below(value.size() + 1)), copy);
    } else if (value.is_object()) {
      value[changed("")] = copy;
    } else {
      changeLeaf(value);
    }
  }

  /// A member under another name: one that stands elsewhere, or a changed one.
  void rename(Json& value, const Json& other) {
    if (!value.is_object() || value.empty()) return changeLeaf(value);
    const auto member = at(value, below(value.size()));
    const Json kept = member.value();
    std::string name = member.key();
    if (other.is_object() && !other.empty()) {
      name = at(other, below(other.size())).key();
    } else {
      name = changed(name);
    }
    value.erase(member);
    value[name] = kept;
  }

  void changeLeaf(Json& value) {
    static const std::array kValues = {
        Json(nullptr), Json(true),    Json(false),      Json(0),          Json(1),  Json(255),
        Json(256),     Json(65535),   Json(4294967295), Json(4294967296), Json(-1), Json(1.5),
        Json(""),      Json::array(), Json::object(),   Json(UINT64_MAX)};
    if (value.is_string() && below(8) != 0) {
      value = changed(value.get<std::string>());
    } else if (value.is_structured() && below(8) != 0) {
      takeOut(value.empty() ? (value = 0) : value);
    } else {
      value = kValues[below(kValues.size())];
    }
  }

  std::string changed(std::string text) {
    constexpr size_t kMore = 32;
    const size_t size = text.size();
    text.resize(size + kMore);
    text.resize(LLVMFuzzerMutate(reinterpret_cast<uint8_t*>(text.data()), size, size + kMore));
    return text;
  }

  std::minstd_rand random_;
};

bool isGood(std::string_view text) {
  return std::holds_alternative<Sources::Snapshot>(OpenConfig::parse(text));
}

}  // namespace

}  // namespace Fuzz

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t maxSize,
                                          unsigned seed) {
  using namespace Fuzz;
  constexpr unsigned kAttempts = 4;
  DocumentMutator mutator(seed);
  std::string text(reinterpret_cast<const char*>(data), size);
  if (isGood(text)) {
    pool().keep(text, mutator.below(SIZE_MAX));
  } else if (!pool().empty() && mutator.below(2) == 0) {
    text = pool().any(mutator.below(SIZE_MAX));
  }
  const Json document = Json::parse(text, nullptr, false);
  if (document.is_discarded() || mutator.below(8) == 0) {
    return LLVMFuzzerMutate(data, size, maxSize);
  }
  for (unsigned attempt = 0; attempt < kAttempts; ++attempt) {
    Json changed = document;
    mutator.change(changed);
    text = changed.dump(-1, ' ', false, Json::error_handler_t::ignore);
    if (isGood(text)) break;
  }
  if (text.size() > maxSize) return size;
  std::memcpy(data, text.data(), text.size());
  return text.size();
}
