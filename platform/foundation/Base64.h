#pragma once

#include <string>
#include <string_view>

namespace platform {

// The bytes in Base64, padded, without line breaks.
std::string base64EncodedString(std::string_view bytes);

}  // namespace platform
