#include "src/identity/KIIdUtil.h"

#include <vector>

#include "platform/foundation/Digest.h"
#include "platform/foundation/Text.h"

using namespace platform;

std::uint64_t KIIdUtil::computeUserId(std::string_view identity) {
  const std::string_view trimmed = trimmingWhitespaceAndNewlines(identity);
  if (trimmed.empty()) return 0;
  std::vector<std::uint8_t> bytes;
  for (const char16_t unit : utf16(trimmed)) bytes.push_back(static_cast<std::uint8_t>(unit & 0xFF));
  const auto digest = CC_MD5(bytes);

  std::uint64_t low = 0;
  for (int i = 3; i >= 0; --i) low = (low << 8) | digest[static_cast<std::size_t>(i)];
  std::uint64_t high = 0;
  for (int i = 15; i >= 8; --i) high = (high << 8) | digest[static_cast<std::size_t>(i)];
  return ((high & 0x1FFFFF) << 32) | low;
}
