#pragma once

#include <array>
#include <cstdint>
#include <span>

namespace platform {

// Digests that derive ids: they keep no secret. Written here because a start that asks OpenSSL for one has
// two megabytes of it in memory from then on, and takes longer by half. Any thread.

std::array<std::uint8_t, 16> CC_MD5(std::span<const std::uint8_t> bytes);
std::array<std::uint8_t, 32> CC_SHA256(std::span<const std::uint8_t> bytes);

}  // namespace platform
