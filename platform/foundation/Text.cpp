#include "platform/foundation/Text.h"

#include <utf8proc.h>

#include "platform/foundation/CodePoints.h"
#include "platform/foundation/NSException.h"
#include "platform/foundation/PercentEncoding.h"
#include "platform/foundation/String.h"

namespace platform {

namespace {

bool isWhitespaceOrNewline(char32_t point) {
  if ((point >= 0x09 && point <= 0x0D) || point == 0x85) return true;
  const auto category = utf8proc_category(static_cast<utf8proc_int32_t>(point));
  return category == UTF8PROC_CATEGORY_ZS || category == UTF8PROC_CATEGORY_ZL ||
         category == UTF8PROC_CATEGORY_ZP;
}

// Whether a character as a reader sees it begins with the second of two code points; `state` is of the text.
bool beginsCharacter(char32_t before, char32_t point, utf8proc_int32_t& state) {
  return utf8proc_grapheme_break_stateful(static_cast<utf8proc_int32_t>(before),
                                          static_cast<utf8proc_int32_t>(point), &state);
}

std::size_t unitsOf(const CodePoint& point) { return point.value < 0x10000 ? 1 : 2; }

}  // namespace

std::u16string utf16(std::string_view text) {
  std::u16string units;
  units.reserve(text.size());
  while (!text.empty()) {
    const CodePoint point = takeCodePoint(text);
    if (point.value < 0x10000) {
      units.push_back(static_cast<char16_t>(point.value));
    } else {
      units.push_back(static_cast<char16_t>(0xD800 + ((point.value - 0x10000) >> 10)));
      units.push_back(static_cast<char16_t>(0xDC00 + ((point.value - 0x10000) & 0x3FF)));
    }
  }
  return units;
}

std::size_t utf16Length(std::string_view text) {
  std::size_t units = 0;
  while (!text.empty()) units += unitsOf(takeCodePoint(text));
  return units;
}

std::string_view composedCharacterSequencesForPrefix(std::string_view text, std::size_t utf16Units) {
  constexpr std::size_t kLongestCompletion = 1024;
  std::size_t units = 0;
  std::size_t end = 0;
  utf8proc_int32_t state = 0;
  char32_t before = 0;
  while (end < text.size()) {
    const CodePoint point = codePointAt(text.substr(end));
    const bool startsSequence = end > 0 && beginsCharacter(before, point.value, state);
    if (units >= utf16Units && (end == 0 || startsSequence)) break;
    if (units >= utf16Units + kLongestCompletion) break;
    before = point.value;
    end += point.length;
    units += unitsOf(point);
  }
  return text.substr(0, end);
}

std::string_view trimmingWhitespaceAndNewlines(std::string_view text) {
  while (!text.empty()) {
    const CodePoint point = codePointAt(text);
    if (!isWhitespaceOrNewline(point.value)) break;
    text.remove_prefix(point.length);
  }
  std::size_t end = 0;  // behind the last code point that stays
  for (std::size_t i = 0; i < text.size();) {
    const CodePoint point = codePointAt(text.substr(i));
    i += point.length;
    if (!isWhitespaceOrNewline(point.value)) end = i;
  }
  return text.substr(0, end);
}

std::string_view removingLastCharacter(std::string_view text) {
  std::size_t start = 0;  // of the last character seen so far
  utf8proc_int32_t state = 0;
  std::optional<char32_t> previous;
  for (std::size_t i = 0; i < text.size();) {
    const CodePoint point = codePointAt(text.substr(i));
    if (previous && beginsCharacter(*previous, point.value, state)) start = i;
    previous = point.value;
    i += point.length;
  }
  return text.substr(0, start);
}

std::optional<std::string> removingPercentEncoding(std::string_view text) {
  std::string bytes;
  bytes.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      bytes.push_back(text[i]);
      continue;
    }
    const std::optional<char> byte = percentEscapeAt(text, i);
    if (!byte) return std::nullopt;
    bytes.push_back(*byte);
    i += 2;
  }
  if (!isWellFormedUTF8(bytes)) return std::nullopt;
  return bytes;
}

}  // namespace platform
