#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string_view>
#include <utility>

#include "platform/foundation/CopyByEnds.h"

namespace platform {

// Bytes that are put together piece by piece; quicker than a string for many short pieces. Keeps its room
// when it is cleared. One thread at a time.
class ByteBuffer {
 public:
  // Valid until something is added.
  std::string_view text() const { return {bytes_.get(), size_}; }
  std::size_t size() const { return size_; }
  void clear() { size_ = 0; }

  void add(char byte) { *addRoom(1) = byte; }
  void add(std::string_view bytes) { copy(addRoom(bytes.size()), bytes); }
  template <class Number>
  void addRaw(Number number) {
    std::memcpy(addRoom(sizeof number), &number, sizeof number);
  }
  // The same three in one step.
  template <class Number>
  void add(char byte, Number number, std::string_view bytes) {
    char* const room = addRoom(1 + sizeof number + bytes.size());
    *room = byte;
    std::memcpy(room + 1, &number, sizeof number);
    copy(room + 1 + sizeof number, bytes);
  }

 private:
  // Most are short.
  static void copy(char* to, std::string_view bytes) {
    if (bytes.size() >= 8 && bytes.size() <= 16) {
      copyByEnds<std::uint64_t>(to, bytes);
    } else if (bytes.size() >= 4 && bytes.size() < 8) {
      copyByEnds<std::uint32_t>(to, bytes);
    } else if (!bytes.empty()) {
      std::memcpy(to, bytes.data(), bytes.size());
    }
  }
  // Where so many bytes go, which count from now on.
  char* addRoom(std::size_t count) {
    if (capacity_ - size_ < count) grow(count);
    return bytes_.get() + std::exchange(size_, size_ + count);
  }
  void grow(std::size_t count) {
    constexpr std::size_t kLeast = 1024;
    const std::size_t capacity = std::max({kLeast, capacity_ * 2, size_ + count});
    std::unique_ptr<char[]> bytes(new char[capacity]);
    if (size_ > 0) std::memcpy(bytes.get(), bytes_.get(), size_);
    bytes_ = std::move(bytes);
    capacity_ = capacity;
  }

  std::unique_ptr<char[]> bytes_;
  std::size_t size_ = 0;
  std::size_t capacity_ = 0;
};

}  // namespace platform
