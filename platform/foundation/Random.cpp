#include "platform/foundation/Random.h"

#include <pthread.h>
#include <sys/random.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <random>

namespace platform {

namespace {

// Counts the forks between this process and its first ancestor that drew a number. A buffer of another
// generation holds bytes that the parent may also hand out.
std::atomic<std::uint32_t> generation{1};

void watchForks() {
  [[maybe_unused]] static const int registered =
      pthread_atfork(nullptr, nullptr, [] { generation.fetch_add(1, std::memory_order_relaxed); });
}

// getrandom never gives less than it was asked for up to this size.
constexpr std::size_t kBufferSize = 256;

struct Buffer {
  std::uint32_t generation = 0;
  std::size_t used = kBufferSize;
  std::array<std::byte, kBufferSize> bytes;
};

// Where a sandbox forbids the system call. Throws when the device cannot be read either.
void readDevice(std::span<std::byte> bytes) {
  std::random_device device("/dev/urandom");
  for (std::byte& byte : bytes) byte = static_cast<std::byte>(device());
}

void refill(Buffer& buffer) {
  watchForks();
  buffer.generation = generation.load(std::memory_order_relaxed);
  while (getrandom(buffer.bytes.data(), kBufferSize, 0) != static_cast<ssize_t>(kBufferSize)) {
    if (errno != EINTR) {
      readDevice(buffer.bytes);
      break;
    }
  }
  buffer.used = 0;
}

}  // namespace

void fillWithRandomBytes(std::span<std::byte> bytes) {
  thread_local constinit Buffer buffer{};
  while (!bytes.empty()) {
    const bool inherited = buffer.generation != generation.load(std::memory_order_relaxed);
    if (inherited || buffer.used == kBufferSize) refill(buffer);
    const std::size_t count = std::min(bytes.size(), kBufferSize - buffer.used);
    std::memcpy(bytes.data(), buffer.bytes.data() + buffer.used, count);
    // Numbers given out are not found in memory afterwards.
    std::memset(buffer.bytes.data() + buffer.used, 0, count);
    buffer.used += count;
    bytes = bytes.subspan(count);
  }
}

std::uint32_t arc4random() {
  std::uint32_t number;
  fillWithRandomBytes(std::as_writable_bytes(std::span(&number, 1)));
  return number;
}

}  // namespace platform
