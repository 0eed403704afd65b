#include "platform/foundation/Format.h"

#include <cstdio>

namespace platform {

namespace {

template <class T>
std::string printed(const std::string& conversion, T value) {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  const int length = std::snprintf(nullptr, 0, conversion.c_str(), value);
  std::string text(static_cast<std::size_t>(length) + 1, '\0');
  std::snprintf(text.data(), text.size(), conversion.c_str(), value);
#pragma GCC diagnostic pop
  text.pop_back();
  return text;
}

// The conversion with every integer as wide as it gets, since that is how arguments are kept.
std::string widened(std::string_view conversion) {
  std::string wide;
  for (const char c : conversion) {
    if (c == 'd' || c == 'u') wide += "ll";
    if (c != 'l') wide += c;
  }
  return wide;
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
    const std::string_view written = format.substr(0, conversion.length);
    format.remove_prefix(conversion.length);
    if (conversion.letter == '%') {
      text += '%';
      continue;
    }
    const FormatArgument& argument = *arguments++;
    if (conversion.letter == '@') text += argument.described();
    if (conversion.letter == 'd') text += printed(widened(written), argument.asSigned());
    if (conversion.letter == 'u') text += printed(widened(written), argument.asUnsigned());
    if (conversion.letter == 'f') text += printed(std::string(written), argument.asReal());
  }
  return text;
}

}  // namespace platform
