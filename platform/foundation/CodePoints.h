#pragma once

#include <cstddef>
#include <string_view>

namespace platform {

// A character of UTF-8 and how many bytes it takes.
struct CodePoint {
  char32_t value;
  std::size_t length;

  // An ill-formed byte counts as U+FFFD; the character of that number takes three bytes.
  bool isWellFormed() const { return value != 0xFFFD || length > 1; }
};

// The code point at the head of the text, which is not empty. Where no well-formed one begins it is U+FFFD,
// one byte long.
CodePoint codePointAt(std::string_view text);

// Takes it off the head of the text.
CodePoint takeCodePoint(std::string_view& text);

// Whether a byte of UTF-8 goes on with a code point that began before it.
constexpr bool isContinuationByte(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

}  // namespace platform
