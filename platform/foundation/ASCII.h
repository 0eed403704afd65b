#pragma once

#include <algorithm>
#include <string_view>

// Text of protocols and files, whatever the locale: only ASCII letters, digits and blanks count as such.
namespace platform {

constexpr bool isASCII(char c) { return static_cast<unsigned char>(c) < 0x80; }
constexpr bool isASCIIDigit(char c) { return c >= '0' && c <= '9'; }
constexpr bool isASCIIUppercase(char c) { return c >= 'A' && c <= 'Z'; }
constexpr bool isASCIILetter(char c) { return isASCIIUppercase(c) || (c >= 'a' && c <= 'z'); }
constexpr bool isASCIIAlphanumeric(char c) { return isASCIILetter(c) || isASCIIDigit(c); }
constexpr char lowercaseASCII(char c) { return isASCIIUppercase(c) ? static_cast<char>(c - 'A' + 'a') : c; }

inline constexpr std::string_view kHexadecimalDigits = "0123456789ABCDEF";

// Of a digit in either case; -1 for any other character.
constexpr int hexadecimalValue(char c) {
  if (isASCIIDigit(c)) return c - '0';
  c = lowercaseASCII(c);
  return c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
}

// Text without the blanks and line breaks at both ends.
constexpr std::string_view trimmingASCIIBlanks(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r\n\v\f";
  text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
  return text.substr(0, text.find_last_not_of(kBlanks) + 1);
}

}  // namespace platform
