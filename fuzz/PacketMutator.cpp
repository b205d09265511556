// Changes packets so that most of them still are packets: the lengths stay right and the OIDs stay
// under the MIB, while everything that they say may change.

#include <algorithm>
#include <array>
#include <cstring>
#include <random>

#include "Ber.h"
#include "Pool.h"

extern "C" size_t LLVMFuzzerMutate(uint8_t* data, size_t size, size_t maxSize);

namespace Fuzz {

namespace {

class PacketMutator {
 public:
  explicit PacketMutator(unsigned seed) : random_(seed) {}

  std::string changed(Ber packet) {
    std::vector<Ber*> all;
    packet.collect(all);
    // What stands before the request says who asks; most changes there end the matter.
    const auto request = std::find_if(all.begin(), all.end(), isRequest);
    if (request != all.end() && below(8) != 0) all.erase(all.begin(), request);
    switch (below(10)) {
      case 0:
        for (Ber* value : all) {
          if (isRequest(value)) value->tag = anyRequest();
        }
        break;
      case 1:  // any tag
        all[below(all.size())]->tag = static_cast<uint8_t>(below(256));
        break;
      case 2:
        changeParts(*all[below(all.size())]);
        break;
      case 3:
      case 4:
      case 5:
        changeOid(*any(all, Ber::kOid));
        break;
      case 6:
        changeInteger(*any(all, Ber::kInteger));
        break;
      case 7:  // one part as another one
        replace(all);
        break;
      default:
        changeContent(*all[below(all.size())]);
    }
    return packet.written();
  }

  size_t below(size_t bound) { return random_() % bound; }

 private:
  static bool isRequest(const Ber* value) { return value->tag >= 0xA0 && value->tag <= 0xA8; }
  /// Mostly GET, GETNEXT, SET or GETBULK, which are answered.
  uint8_t anyRequest() {
    constexpr std::array<uint8_t, 4> kAnswered = {0xA0, 0xA1, 0xA3, 0xA5};
    return below(4) == 0 ? static_cast<uint8_t>(0xA0 + below(9))
                         : kAnswered[below(kAnswered.size())];
  }

  /// A value of a tag where there is one.
  Ber* any(const std::vector<Ber*>& all, uint8_t tag) {
    std::vector<Ber*> found;
    std::copy_if(all.begin(), all.end(), std::back_inserter(found),
                 [tag](const Ber* value) { return value->tag == tag && !value->constructed; });
    return found.empty() ? all[below(all.size())] : found[below(found.size())];
  }

  /// A part more, one less, two in another order.
  void changeParts(Ber& value) {
    value.constructed = !value.parts.empty();
    if (!value.constructed) return changeContent(value);
    const auto part = value.parts.begin() + static_cast<std::ptrdiff_t>(below(value.parts.size()));
    switch (below(3)) {
      case 0: {
        const Ber copy = *part;
        value.parts.insert(part, 1 + below(20), copy);
        break;
      }
      case 1:
        value.parts.erase(part);
        break;
      default:
        std::iter_swap(part, value.parts.begin());
    }
  }

  /// A sub-identifier more, one less, another one; long ones too.
  void changeOid(Ber& value) {
    constexpr std::array<uint64_t, 9> kEdges = {0,   1,          127,        128,        255,
                                                256, 0x7FFFFFFF, 0xFFFFFFFF, 0x100000000};
    if (value.constructed || value.content.empty()) return;
    // The table, the column and the index stand behind the MIB's own OID.
    constexpr size_t kMib = 11;
    const size_t size = value.content.size();
    const size_t place = size > kMib && below(8) != 0 ? kMib + below(size - kMib) : below(size);
    switch (below(4)) {
      case 0:
        value.content.resize(place);
        break;
      case 1:
        value.content.insert(place, Ber::subIdentifier(kEdges[below(kEdges.size())]));
        break;
      case 2:
        value.content.replace(place, 1, Ber::subIdentifier(random_()));
        break;
      default:
        value.content[place] = static_cast<char>(below(24));
    }
  }

  void changeInteger(Ber& value) {
    constexpr std::array<int64_t, 12> kEdges = {
        0, 1, 2, 3, 10, 50, 127, -1, 65535, 0x7FFFFFFF, -0x80000000LL, 0x100000000};
    if (value.constructed) return;
    const int64_t number = kEdges[below(kEdges.size())];
    const size_t octets = 1 + below(8);
    value.content.clear();
    for (size_t i = octets; i > 0; --i) {
      value.content += static_cast<char>(number >> (8 * (i - 1)));
    }
  }

  void changeContent(Ber& value) {
    if (value.constructed) return changeParts(value);
    constexpr size_t kMore = 64;
    const size_t size = value.content.size();
    value.content.resize(size + kMore);
    auto* data = reinterpret_cast<uint8_t*>(value.content.data());
    value.content.resize(LLVMFuzzerMutate(data, size, size + kMore));
  }

  void replace(const std::vector<Ber*>& all) {
    const Ber copy = *all[below(all.size())];
    // Not into itself: the tree would only grow.
    *all[below(all.size())] = copy;
  }

  std::minstd_rand random_;
};

}  // namespace

}  // namespace Fuzz

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t maxSize,
                                          unsigned seed) {
  using namespace Fuzz;
  PacketMutator mutator(seed);
  std::string_view base(reinterpret_cast<const char*>(data), size);
  if (!pool().empty() && mutator.below(4) != 0) base = pool().any(mutator.below(SIZE_MAX));
  auto packet = Ber::read(base);
  if (!packet || mutator.below(16) == 0) return LLVMFuzzerMutate(data, size, maxSize);
  const std::string changed = mutator.changed(std::move(*packet));
  if (changed.size() > maxSize) return size;
  std::memcpy(data, changed.data(), changed.size());
  return changed.size();
}
