#include "platform/foundation/Compression.h"

#include <zlib.h>

#include <limits>
#include <memory>
#include <new>

namespace platform {

namespace {
constexpr int kQuick = 1;               // of 9
constexpr int kWindowOfGzip = 15 + 16;  // the largest, and gzip's frame around it
constexpr int kDefaultMemory = 8;
}  // namespace

std::optional<std::string> gzipped(std::string_view bytes) try {
  if (bytes.size() > std::numeric_limits<uInt>::max()) return std::nullopt;
  z_stream stream{};
  if (deflateInit2(&stream, kQuick, Z_DEFLATED, kWindowOfGzip, kDefaultMemory, Z_DEFAULT_STRATEGY) != Z_OK)
    return std::nullopt;
  const std::unique_ptr<z_stream, decltype(&deflateEnd)> end(&stream, deflateEnd);
  std::string compressed(deflateBound(&stream, bytes.size()), '\0');
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
  stream.avail_in = static_cast<uInt>(bytes.size());
  stream.next_out = reinterpret_cast<Bytef*>(compressed.data());
  stream.avail_out = static_cast<uInt>(compressed.size());
  if (deflate(&stream, Z_FINISH) != Z_STREAM_END) return std::nullopt;
  compressed.resize(stream.total_out);
  return compressed;
} catch (const std::bad_alloc&) {
  return std::nullopt;
}

}  // namespace platform
