#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/foundation/Value.h"

namespace kova {

// Percent-encodes the text of a value: strings as they are, everything else by its description, "(null)" for
// no value. Characters beyond ASCII stay as they are. Any thread.
std::string urlEncode(const std::optional<platform::Value>& value);
// Empty for text whose percent escapes are malformed. Any thread.
std::string urlDecode(std::string_view text);

}  // namespace kova
