#pragma once

#include <string>

namespace platform {

class Image;

// Throws std::bad_alloc.
std::string encodedPNG(const Image& image);

}  // namespace platform
