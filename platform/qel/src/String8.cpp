#include "qel/String8.h"

#include <functional>

namespace Qel {

String8::Rep::Rep(std::string_view t) : text(t), hash(std::hash<std::string_view>()(t)) {}

String8::String8(std::string_view text) {
  if (!text.empty()) rep_ = Ptr<const Rep>(new Rep(text));
}

}  // namespace Qel
