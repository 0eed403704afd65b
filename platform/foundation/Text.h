#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace platform {

// The UTF-16 code units of UTF-8 text; ill-formed sequences become U+FFFD.
std::u16string utf16(std::string_view text);

// How many UTF-16 code units the text has.
std::size_t utf16Length(std::string_view text);

// The composed character sequences (what a reader takes for one character each) that the first `utf16Units`
// UTF-16 code units of the text belong to: those units, and what completes the last of them. A sequence is
// followed for 1,024 further units at most, so that the cost does not depend on the length of the text.
std::string_view composedCharacterSequencesForPrefix(std::string_view text, std::size_t utf16Units);

// Text without the white space and line breaks (of any script) at both ends.
std::string_view trimmingWhitespaceAndNewlines(std::string_view text);

// Text without its last character as a reader sees it: a letter with its accents, a flag, a line break.
std::string_view removingLastCharacter(std::string_view text);

// Text with %XX replaced by the bytes they stand for. No value when a per cent sign is not followed by two
// hexadecimal digits, or when the result is not UTF-8.
std::optional<std::string> removingPercentEncoding(std::string_view text);

}  // namespace platform
