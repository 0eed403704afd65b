#include "platform/foundation/CodePoints.h"

#include <utf8proc.h>

#include "platform/foundation/ASCII.h"

namespace platform {

CodePoint codePointAt(std::string_view text) {
  if (isASCII(text[0])) return {static_cast<char32_t>(text[0]), 1};
  utf8proc_int32_t point;
  const auto length = utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(text.data()),
                                       static_cast<utf8proc_ssize_t>(text.size()), &point);
  if (length <= 0) return {0xFFFD, 1};
  return {static_cast<char32_t>(point), static_cast<std::size_t>(length)};
}

CodePoint takeCodePoint(std::string_view& text) {
  const CodePoint point = codePointAt(text);
  text.remove_prefix(point.length);
  return point;
}

}  // namespace platform
