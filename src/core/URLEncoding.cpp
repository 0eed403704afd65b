#include "src/core/URLEncoding.h"

#include <array>

#include "platform/foundation/Text.h"

using namespace platform;

namespace {

// Which bytes urlEncode writes as they are.
constexpr std::array<bool, 256> kPassesUnencoded = [] {
  std::array<bool, 256> passes{};
  passes.fill(true);
  for (const char c : std::string_view("!*'();:@&=+$,/?%|#[]\" <>\\^`{}\t\n\r\b\a\f\v")) {
    passes[static_cast<unsigned char>(c)] = false;
  }
  return passes;
}();

}  // namespace

std::string kova::urlEncode(const std::optional<Value>& value) {
  static constexpr char kHexadecimalDigits[] = "0123456789ABCDEF";
  std::string encoded;
  for (const char c : description(value)) {
    const auto byte = static_cast<unsigned char>(c);
    if (kPassesUnencoded[byte]) {
      encoded += c;
    } else {
      encoded += '%';
      encoded += kHexadecimalDigits[byte >> 4];
      encoded += kHexadecimalDigits[byte & 0xF];
    }
  }
  return encoded;
}

std::string kova::urlDecode(std::string_view text) { return removingPercentEncoding(text).value_or(""); }
