#include "platform/graphics/Image.h"

#include <algorithm>
#include <cmath>

#include "platform/graphics/Drawing.h"

namespace platform {

namespace {

constexpr int kBytesPerPixel = 4;

std::vector<std::uint8_t> emptyPixels(int width, int height) {
  return std::vector<std::uint8_t>(std::size_t{kBytesPerPixel} * static_cast<std::size_t>(width) *
                                   static_cast<std::size_t>(height));
}

// Of an odd row or column, the last one is left out.
std::vector<std::uint8_t> meansOfFour(std::span<const std::uint8_t> pixels, int width, int height) {
  std::vector<std::uint8_t> means = emptyPixels(width / 2, height / 2);
  const std::size_t row = std::size_t{kBytesPerPixel} * static_cast<std::size_t>(width);
  std::uint8_t* mean = means.data();
  for (int y = 0; y < height / 2; ++y) {
    const std::uint8_t* upper = &pixels[2 * row * static_cast<std::size_t>(y)];
    for (int x = 0; x < width / 2; ++x, upper += 2 * kBytesPerPixel) {
      const std::uint8_t* lower = upper + row;
      for (int i = 0; i < kBytesPerPixel; ++i) {
        const int sum = upper[i] + upper[i + kBytesPerPixel] + lower[i] + lower[i + kBytesPerPixel];
        *mean++ = static_cast<std::uint8_t>((sum + 2) / 4);
      }
    }
  }
  return means;
}

}  // namespace

std::shared_ptr<const Image> Image::create(int width, int height, double pixelsPerPoint,
                                           std::vector<std::uint8_t> pixels) {
  if (!isPossible(width, height) || !(pixelsPerPoint > 0) || !std::isfinite(pixelsPerPoint)) return nullptr;
  if (pixels.size() !=
      std::size_t{kBytesPerPixel} * static_cast<std::size_t>(width) * static_cast<std::size_t>(height)) {
    return nullptr;
  }
  return std::shared_ptr<const Image>(new Image(width, height, pixelsPerPoint, std::move(pixels)));
}

std::string Image::PNGRepresentation() const { return Drawing::current().encodePNG(*this); }

Color Image::colorAtPixel(int x, int y) const {
  if (x < 0 || y < 0 || x >= width_ || y >= height_) return Color::clear();
  const std::size_t index =
      (static_cast<std::size_t>(y) * static_cast<std::size_t>(width_) + static_cast<std::size_t>(x)) *
      kBytesPerPixel;
  const std::uint8_t* pixel = &pixels_[index];
  if (pixel[3] == 0) return Color::clear();
  const double alpha = pixel[3];
  return {pixel[2] / alpha, pixel[1] / alpha, pixel[0] / alpha, alpha / 0xFF};
}

const Image* Image::halved() const {
  std::call_once(halvedOnce_, [this] {
    halved_ = create(width_ / 2, height_ / 2, scale_ / 2, meansOfFour(pixels_, width_, height_));
  });
  return halved_.get();
}

}  // namespace platform
