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

// Text without the white space and line breaks (of any script) at both ends.
std::string_view trimmingWhitespaceAndNewlines(std::string_view text);

// Text with %XX replaced by the bytes they stand for. No value when a per cent sign is not followed by two
// hexadecimal digits, or when the result is not UTF-8.
std::optional<std::string> removingPercentEncoding(std::string_view text);

// The MD5 digest of the bytes: for deriving numbers from text, not for keeping secrets.
std::array<std::uint8_t, 16> CC_MD5(std::span<const std::uint8_t> bytes);

}  // namespace platform
