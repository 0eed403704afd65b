#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace platform {

class Image;

// Throws std::bad_alloc.
std::string encodedPNG(const Image& image);
// Of bytes that begin as a PNG of a possible size does; null when they do not go on so.
std::shared_ptr<const Image> decodedPNG(std::string_view bytes, double pixelsPerPoint);

}  // namespace platform
