#include "platform/foundation/Base64.h"

#include <openssl/evp.h>

#include <stdexcept>

namespace platform {

std::string base64EncodedString(std::string_view bytes) {
  constexpr std::size_t kMaximum = 1 << 30;  // what the encoder's int can count, when a third longer
  if (bytes.size() >= kMaximum) throw std::length_error("too much to encode");
  std::string text((bytes.size() + 2) / 3 * 4, '\0');
  // Writes a NUL behind the text, where a string has one.
  EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()),
                  reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<int>(bytes.size()));
  return text;
}

}  // namespace platform
