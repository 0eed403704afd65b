#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace platform {

// Random numbers fit for identifiers that nobody can guess, from the kernel's generator. Each thread draws
// from a buffer of its own, so that only one call in many is a system call. A child made by fork() discards
// what it inherited and never repeats its parent's numbers. Any thread. Throws std::system_error when the
// kernel gives no random bytes.
std::uint32_t arc4random();
void fillWithRandomBytes(std::span<std::byte> bytes);

}  // namespace platform
