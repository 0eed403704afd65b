#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

// What libFuzzer calls, once an input.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

inline std::string_view textOf(const std::uint8_t* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}
