#include "platform/foundation/Format.h"

#include <algorithm>

#include "platform/foundation/Decimal.h"

namespace platform {

namespace {

std::string withZerosInFront(std::string digits, std::size_t width) {
  return digits.insert(0, width > digits.size() ? width - digits.size() : 0, '0');
}

std::string converted(const FormatConversion& conversion, const FormatArgument& argument) {
  switch (conversion.letter) {
    case 'd':
      return decimal(argument.asSigned());
    case 'u':
      return withZerosInFront(decimal(argument.asUnsigned()), conversion.width);
    case 'f':
      return fixedDecimal(argument.asReal(), conversion.precision);
    default:
      return argument.described();
  }
}

}  // namespace

std::string vformatted(std::string_view format, const FormatArgument* arguments) {
  std::string text;
  while (!format.empty()) {
    const std::size_t plain = std::min(format.find('%'), format.size());
    text += format.substr(0, plain);
    format.remove_prefix(plain);
    if (format.empty()) break;
    const FormatConversion conversion = conversionAt(format);
    format.remove_prefix(conversion.length);
    text += conversion.letter == '%' ? "%" : converted(conversion, *arguments++);
  }
  return text;
}

}  // namespace platform
