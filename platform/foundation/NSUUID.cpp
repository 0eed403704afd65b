#include "platform/foundation/NSUUID.h"

#include <span>

#include "platform/foundation/ASCII.h"
#include "platform/foundation/Random.h"

namespace platform {

NSUUID NSUUID::UUID() {
  Bytes bytes;
  fillWithRandomBytes(std::as_writable_bytes(std::span(bytes)));
  bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0f) | 0x40);  // version 4
  bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3f) | 0x80);  // the variant of RFC 4122
  return NSUUID(bytes);
}

std::string NSUUID::UUIDString() const {
  std::string text;
  text.reserve(36);
  for (std::size_t i = 0; i < bytes_.size(); ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
    text += kHexadecimalDigits[bytes_[i] >> 4];
    text += kHexadecimalDigits[bytes_[i] & 0x0f];
  }
  return text;
}

}  // namespace platform
