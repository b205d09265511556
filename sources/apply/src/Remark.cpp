#include "apply/Remark.h"

#include <cstdint>

#include "acl/Limits.h"

namespace Sources {

using Acl::kMaxRemarkOctets;

std::string cut(std::string text, size_t octets) {
  if (text.size() <= octets) return text;
  size_t end = octets;
  while (end > 0 && (static_cast<uint8_t>(text[end]) & 0xC0) == 0x80) --end;
  text.resize(end);
  return text;
}

void Remark::add(const std::string& kind, const std::string& text) {
  const bool fresh = kinds_.insert(cut(kind, kMaxRemarkOctets)).second;
  if (!fresh && kind == text) return;
  if (notShown_.size() < kMaxRemarkOctets) notShown_ += (notShown_.empty() ? "" : "; ") + text;
}

std::string Remark::text(std::string_view comment) const {
  /// What is kept for the comment beside a long list of what is not shown.
  constexpr size_t kMinCommentOctets = 48;
  if (notShown_.empty()) return cut(std::string(comment), kMaxRemarkOctets);
  const std::string kept = cut(std::string(comment), kMinCommentOctets);
  const std::string all = std::string(comment) + " [not shown: " + notShown_ + "]";
  if (!comment.empty() && all.size() <= kMaxRemarkOctets) return all;
  const std::string opening = (kept.empty() ? "" : kept + " ") + "[not shown: ";
  return opening + cut(notShown_, kMaxRemarkOctets - opening.size() - 1) + "]";
}

}  // namespace Sources
