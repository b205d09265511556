#include "Ber.h"

namespace Fuzz {

namespace {

constexpr unsigned kDeepest = 12;
constexpr size_t kShortForm = 0x80;

}  // namespace

bool Ber::takeAll(std::string_view text, unsigned depth, std::vector<Ber>& parts) {
  while (!text.empty()) {
    auto part = take(text, depth);
    if (!part) return false;
    parts.push_back(std::move(*part));
  }
  return true;
}

std::optional<Ber> Ber::take(std::string_view& text, unsigned depth) {
  if (text.size() < 2 || depth > kDeepest) return std::nullopt;
  Ber value;
  value.tag = static_cast<uint8_t>(text[0]);
  size_t length = static_cast<uint8_t>(text[1]);
  text.remove_prefix(2);
  if (length >= kShortForm) {
    const size_t octets = length - kShortForm;
    if (octets > 4 || octets > text.size()) return std::nullopt;
    length = 0;
    for (const char octet : text.substr(0, octets)) {
      length = length << 8 | static_cast<uint8_t>(octet);
    }
    text.remove_prefix(octets);
  }
  if (length > text.size()) return std::nullopt;
  value.content = text.substr(0, length);
  text.remove_prefix(length);
  const bool mayHold = (value.tag & 0x20) != 0 ||
                       (value.tag == kOctets && length > 1 && value.content[0] == kSequence);
  if (mayHold && takeAll(value.content, depth + 1, value.parts)) {
    value.constructed = true;
    value.content.clear();
  } else {
    value.parts.clear();
  }
  return value;
}

std::optional<Ber> Ber::read(std::string_view text) {
  auto value = take(text, 0);
  if (!text.empty()) return std::nullopt;
  return value;
}

std::string Ber::written() const {
  std::string inside = content;
  if (constructed) {
    for (const Ber& part : parts) inside += part.written();
  }
  std::string text(1, static_cast<char>(tag));
  if (inside.size() < kShortForm) {
    text += static_cast<char>(inside.size());
  } else if (inside.size() < 0x100) {
    text += static_cast<char>(0x81);
    text += static_cast<char>(inside.size());
  } else {
    text += static_cast<char>(0x82);
    text += static_cast<char>(inside.size() >> 8);
    text += static_cast<char>(inside.size());
  }
  return text + inside;
}

std::string Ber::subIdentifier(uint64_t number) {
  std::string text(1, static_cast<char>(number & 0x7F));
  for (number >>= 7; number != 0; number >>= 7) {
    text.insert(text.begin(), static_cast<char>(0x80 | (number & 0x7F)));
  }
  return text;
}

void Ber::collect(std::vector<Ber*>& all) {
  all.push_back(this);
  for (Ber& part : parts) part.collect(all);
}

}  // namespace Fuzz
