#include "src/core/Ids.h"

#include <cstdint>

#include "platform/foundation/Decimal.h"
#include "platform/foundation/Random.h"

std::string kova::randomId() {
  constexpr std::size_t kDigits = 16;
  const std::uint64_t high = platform::arc4random() & 0x1FFFFF;
  const std::uint64_t low = platform::arc4random();
  const std::string digits = platform::decimal((high << 32) | low);
  return std::string(kDigits - digits.size(), '0') + digits;
}
