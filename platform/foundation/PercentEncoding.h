#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/foundation/ASCII.h"

namespace platform {

// The byte that the text has as %XX at this place; none when anything else stands there.
constexpr std::optional<char> percentEscapeAt(std::string_view text, std::size_t at) {
  if (text[at] != '%' || at + 2 >= text.size()) return std::nullopt;
  const int high = hexadecimalValue(text[at + 1]);
  const int low = hexadecimalValue(text[at + 2]);
  if (high < 0 || low < 0) return std::nullopt;
  return static_cast<char>(high * 16 + low);
}

// Adds the byte as %XX, in upper case.
inline void appendPercentEscape(std::string& out, char byte) {
  const auto value = static_cast<unsigned char>(byte);
  out += {'%', kHexadecimalDigits[value >> 4], kHexadecimalDigits[value & 15]};
}

}  // namespace platform
