#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace platform {

// The bytes as a gzip file holds them, made quickly rather than as small as possible. None when there is no
// memory for it. Any thread.
std::optional<std::string> gzipped(std::string_view bytes);

}  // namespace platform
