#pragma once

#include <string>
#include <string_view>

namespace platform {

// The bytes in Base64, padded, without line breaks. Throws std::length_error for a gigabyte and more.
std::string base64EncodedString(std::string_view bytes);

}  // namespace platform
