#include "apply/Remark.h"

#include <cstdint>

#include "acl/Limits.h"
#include "snapshot/Text.h"

namespace Sources {

using Acl::kMaxRemarkOctets;

std::string cut(std::string text, size_t octets) {
  if (text.size() <= octets) return text;
  size_t end = octets;
  while (end > 0 && (static_cast<uint8_t>(text[end]) & 0xC0) == 0x80) --end;
  text.resize(end);
  return text;
}

void Remark::add(const std::string& givenKind, const std::string& givenText) {
  const std::string kind = withoutControls(givenKind);
  const std::string text = withoutControls(givenText);
  const bool fresh = kinds_.insert(cut(kind, kMaxRemarkOctets)).second;
  if (!fresh && kind == text) return;
  if (notShown_.size() < kMaxRemarkOctets) notShown_ += (notShown_.empty() ? "" : "; ") + text;
}

std::string Remark::text(std::string_view givenComment) const {
  const std::string comment = withoutControls(givenComment);
  /// What is kept for the comment beside a long list of what is not shown.
  constexpr size_t kMinCommentOctets = 48;
  if (notShown_.empty()) return cut(comment, kMaxRemarkOctets);
  const std::string kept = cut(comment, kMinCommentOctets);
  const std::string all = comment + " [not shown: " + notShown_ + "]";
  if (!comment.empty() && all.size() <= kMaxRemarkOctets) return all;
  const std::string opening = (kept.empty() ? "" : kept + " ") + "[not shown: ";
  return opening + cut(notShown_, kMaxRemarkOctets - opening.size() - 1) + "]";
}

}  // namespace Sources
