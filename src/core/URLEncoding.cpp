#include "src/core/URLEncoding.h"

#include <array>

#include "platform/foundation/PercentEncoding.h"
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
  std::string encoded;
  for (const char c : description(value)) {
    if (kPassesUnencoded[static_cast<unsigned char>(c)]) {
      encoded += c;
    } else {
      appendPercentEscape(encoded, c);
    }
  }
  return encoded;
}

std::string kova::urlDecode(std::string_view text) { return removingPercentEncoding(text).value_or(""); }
