#include "platform/foundation/Decimal.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <string_view>

namespace platform {

namespace {

constexpr int kMostFixedDigits = 60;

// From this power of ten on the general form has an exponent, and below the other one.
constexpr int kLargestPlainExponent = 15;
constexpr int kSmallestPlainExponent = -4;

template <class... Arguments>
std::string written(Arguments... arguments) {
  char text[32];
  const auto [end, error] = std::to_chars(text, text + sizeof text, arguments...);
  return std::string(text, end);
}

double readAs(std::string_view text) {
  double number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() ? number : std::numeric_limits<double>::quiet_NaN();
}

const char* nameOfNoNumber(double number) {
  if (std::isnan(number)) return "nan";
  return number > 0 ? "inf" : "-inf";
}

// The power of ten of text like -1.5e+20.
int exponentOf(std::string_view text) {
  text.remove_prefix(text.find('e') + 1);
  if (text.front() == '+') text.remove_prefix(1);
  int exponent = 0;
  std::from_chars(text.data(), text.data() + text.size(), exponent);
  return exponent;
}

}  // namespace

std::string decimal(std::int64_t number) { return written(number); }
std::string decimal(std::uint64_t number) { return written(number); }

std::string decimal(double number) {
  if (!std::isfinite(number)) return nameOfNoNumber(number);
  std::string text = written(number, std::chars_format::general, 16);
  return readAs(text) == number ? text : written(number, std::chars_format::general, 17);
}

std::string decimal(float number) {
  if (!std::isfinite(number)) return nameOfNoNumber(number);
  std::string text = written(number, std::chars_format::scientific);
  const int exponent = exponentOf(text);
  const bool isPlain = exponent >= kSmallestPlainExponent && exponent <= kLargestPlainExponent;
  return isPlain ? written(number, std::chars_format::fixed) : text;
}

double doubleOfDigits(float number) {
  return std::isfinite(number) ? readAs(decimal(number)) : static_cast<double>(number);
}

std::string fixedDecimal(double number, int digits) {
  // A sign, the digits of the largest double, and a point.
  constexpr std::size_t kLongestWhole = std::numeric_limits<double>::max_exponent10 + 3;
  char text[kLongestWhole + kMostFixedDigits];
  const auto [end, error] = std::to_chars(text, text + sizeof text, number, std::chars_format::fixed,
                                          std::min(digits, kMostFixedDigits));
  return std::string(text, end);
}

}  // namespace platform
