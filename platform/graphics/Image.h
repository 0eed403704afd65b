#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/graphics/CGGeometry.h"
#include "platform/graphics/Color.h"

namespace platform {

// An immutable bitmap, shared by whoever shows it. May be read from any thread.
//
// Pixels are four bytes, blue, green, red, alpha, with colours multiplied by alpha (8 bits each, sRGB); rows
// from the top, without padding between them.
class Image {
 public:
  static constexpr int kMaximumSide = 16384;  // pixels
  static constexpr std::int64_t kMaximumPixels = 100'000'000;

  // Whether an image of so many pixels may be: a positive number of them each way, within both limits above.
  static constexpr bool isPossible(double width, double height) {
    return width >= 1 && height >= 1 && width <= kMaximumSide && height <= kMaximumSide &&
           width * height <= kMaximumPixels;
  }

  // `pixelsPerPoint` says how many pixels stand for a point. Null when a side is not between 1 and
  // kMaximumSide, the bytes are not exactly 4 * width * height, or the scale is not a positive number.
  static std::shared_ptr<const Image> create(int width, int height, double pixelsPerPoint,
                                             std::vector<std::uint8_t> pixels);

  int width() const { return width_; }    // pixels
  int height() const { return height_; }  // pixels
  double scale() const { return scale_; }
  CGSize size() const { return {width_ / scale_, height_ / scale_}; }
  std::span<const std::uint8_t> pixels() const { return pixels_; }
  // The colour as it was before multiplication by alpha; clear outside of the image.
  Color colorAtPixel(int x, int y) const;

  // Written for speed: a few times faster than a file of the least size. Throws std::bad_alloc when memory
  // does not suffice. Empty in a process that cannot draw.
  std::string PNGRepresentation() const;
  // Half as wide and half as high, each pixel the mean of four, for drawing the image small. Made when it is
  // first asked for, then kept. Null for an image of a single row or column.
  const Image* halved() const;

 private:
  Image(int width, int height, double scale, std::vector<std::uint8_t> pixels)
      : width_(width), height_(height), scale_(scale), pixels_(std::move(pixels)) {}

  int width_;
  int height_;
  double scale_;
  std::vector<std::uint8_t> pixels_;
  mutable std::once_flag halvedOnce_;
  mutable std::shared_ptr<const Image> halved_;
};

}  // namespace platform
