#include "platform/graphics/Image.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

#include "platform/graphics/CairoHandles.h"

namespace platform {

namespace {

static_assert(std::endian::native == std::endian::little, "Cairo's pixels are words, the image's are bytes");

constexpr int kBytesPerPixel = 4;

// What is left to read of a PNG in memory.
struct Source {
  std::string_view bytes;
};

cairo_status_t readFromSource(void* closure, unsigned char* data, unsigned length) noexcept {
  auto& source = *static_cast<Source*>(closure);
  if (length > source.bytes.size()) return CAIRO_STATUS_READ_ERROR;
  std::memcpy(data, source.bytes.data(), length);
  source.bytes.remove_prefix(length);
  return CAIRO_STATUS_SUCCESS;
}

cairo_status_t appendToString(void* closure, const unsigned char* data, unsigned length) noexcept {
  static_cast<std::string*>(closure)->append(reinterpret_cast<const char*>(data), length);
  return CAIRO_STATUS_SUCCESS;
}

std::uint32_t bigEndian(std::string_view bytes) {
  std::uint32_t number = 0;
  for (const char byte : bytes) number = number << 8 | static_cast<unsigned char>(byte);
  return number;
}

// Whether the bytes begin as a PNG does, of a size that may be decoded: a few of them can claim gigabytes.
bool beginsAcceptablePNG(std::string_view bytes) {
  constexpr std::string_view kSignature("\x89PNG\r\n\x1a\n\0\0\0\x0dIHDR", 16);
  if (!bytes.starts_with(kSignature) || bytes.size() < kSignature.size() + 8) return false;
  return Image::isPossible(bigEndian(bytes.substr(16, 4)), bigEndian(bytes.substr(20, 4)));
}

bool isOpaque(std::span<const std::uint8_t> pixels) {
  std::uint8_t alpha = 0xFF;
  for (std::size_t i = 3; i < pixels.size(); i += kBytesPerPixel) alpha &= pixels[i];
  return alpha == 0xFF;
}

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

std::shared_ptr<const Image> Image::imageWithPNGData(std::string_view bytes, double pixelsPerPoint) {
  if (!beginsAcceptablePNG(bytes)) return nullptr;
  Source source{bytes};
  const CairoSurface decoded(cairo_image_surface_create_from_png_stream(readFromSource, &source));
  if (cairo_surface_status(decoded.get()) != CAIRO_STATUS_SUCCESS) return nullptr;

  // Painted over, because the decoder answers in the format that suits the file.
  const int width = cairo_image_surface_get_width(decoded.get());
  const int height = cairo_image_surface_get_height(decoded.get());
  std::vector<std::uint8_t> pixels = emptyPixels(width, height);
  const CairoSurface surface = surfaceOver(pixels.data(), width, height);
  const CairoContext cairo(cairo_create(surface.get()));
  cairo_set_operator(cairo.get(), CAIRO_OPERATOR_SOURCE);
  cairo_set_source_surface(cairo.get(), decoded.get(), 0, 0);
  cairo_paint(cairo.get());
  return create(width, height, pixelsPerPoint, std::move(pixels));
}

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

std::string Image::PNGRepresentation() const {
  // An opaque image is written without its alpha: a quarter less to compress.
  const CairoSurface surface = surfaceOver(pixels_.data(), width_, height_,
                                           isOpaque(pixels_) ? CAIRO_FORMAT_RGB24 : CAIRO_FORMAT_ARGB32);
  std::string bytes;
  cairo_surface_write_to_png_stream(surface.get(), appendToString, &bytes);
  return bytes;
}

std::shared_ptr<const Image> Image::scaledTo(CGSize points) const {
  const double width = std::round(points.width * scale_);
  const double height = std::round(points.height * scale_);
  if (!isPossible(width, height)) return nullptr;

  std::vector<std::uint8_t> pixels = emptyPixels(static_cast<int>(width), static_cast<int>(height));
  const CairoSurface surface = surfaceOver(pixels.data(), static_cast<int>(width), static_cast<int>(height));
  const CairoContext cairo(cairo_create(surface.get()));
  paintStretched(cairo.get(), surfaceOver(pixels_.data(), width_, height_).get(),
                 CGRectMake(0, 0, width, height));
  return create(static_cast<int>(width), static_cast<int>(height), scale_, std::move(pixels));
}

const Image* Image::halved() const {
  std::call_once(halvedOnce_, [this] {
    halved_ = create(width_ / 2, height_ / 2, scale_ / 2, meansOfFour(pixels_, width_, height_));
  });
  return halved_.get();
}

}  // namespace platform
