#include "platform/drawing/internal/PNG.h"

#include <png.h>
#include <zlib.h>

#include <csetjmp>
#include <new>
#include <vector>

#include "platform/graphics/Image.h"

namespace platform {

namespace {

constexpr std::size_t kBytesPerPixel = 4;

// One PNG as it is written. libpng leaves by longjmp when it fails, so that the functions between it and
// write() hold nothing that would have to be destroyed.
class Writer {
 public:
  explicit Writer(const Image& image) : image_(image), isOpaque_(isOpaque(image.pixels())) {
    if (!isOpaque_) row_.resize(kBytesPerPixel * static_cast<std::size_t>(image.width()));
    png_ = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, leave, ignoreWarning);
    info_ = png_ ? png_create_info_struct(png_) : nullptr;
  }
  ~Writer() { png_destroy_write_struct(&png_, &info_); }
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;

  std::string write() && {
    if (!info_ || !writeAll()) throw std::bad_alloc();
    return std::move(bytes_);
  }

 private:
  static bool isOpaque(std::span<const std::uint8_t> pixels) {
    std::uint8_t alpha = 0xFF;
    for (std::size_t i = 3; i < pixels.size(); i += kBytesPerPixel) alpha &= pixels[i];
    return alpha == 0xFF;
  }

  // False when memory did not suffice.
  bool writeAll() {
    if (setjmp(png_jmpbuf(png_))) return false;
    png_set_write_fn(png_, this, append, nullptr);
    setUp();
    const std::size_t rowBytes = kBytesPerPixel * static_cast<std::size_t>(image_.width());
    for (int y = 0; y < image_.height(); ++y) {
      const std::uint8_t* row = &image_.pixels()[rowBytes * static_cast<std::size_t>(y)];
      png_write_row(png_, isOpaque_ ? row : withoutMultiplication(row));
    }
    png_write_end(png_, info_);
    return true;
  }

  // The fastest that still makes small files of flat drawings: a photograph costs several times as much at
  // the usual level, for a few bytes less. An opaque image is written without its alpha: a quarter less to
  // compress.
  void setUp() {
    png_set_IHDR(png_, info_, static_cast<png_uint_32>(image_.width()),
                 static_cast<png_uint_32>(image_.height()), 8,
                 isOpaque_ ? PNG_COLOR_TYPE_RGB : PNG_COLOR_TYPE_RGB_ALPHA, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_BASE, PNG_FILTER_TYPE_BASE);
    png_set_filter(png_, PNG_FILTER_TYPE_BASE, PNG_FILTER_SUB);
    png_set_compression_level(png_, 1);
    png_set_compression_strategy(png_, Z_RLE);
    png_write_info(png_, info_);
    png_set_bgr(png_);
    if (isOpaque_) png_set_filler(png_, 0, PNG_FILLER_AFTER);
  }

  // Colours as they were before they were multiplied by alpha.
  const std::uint8_t* withoutMultiplication(const std::uint8_t* from) {
    for (std::size_t i = 0; i < row_.size(); i += kBytesPerPixel) {
      const unsigned alpha = from[i + 3];
      for (std::size_t colour = i; colour < i + 3; ++colour) {
        row_[colour] = alpha ? static_cast<std::uint8_t>((from[colour] * 255 + alpha / 2) / alpha) : 0;
      }
      row_[i + 3] = static_cast<std::uint8_t>(alpha);
    }
    return row_.data();
  }

  static void append(png_structp png, png_bytep data, std::size_t length) {
    if (!static_cast<Writer*>(png_get_io_ptr(png))->keeps(data, length)) png_error(png, "out of memory");
  }
  bool keeps(const std::uint8_t* data, std::size_t length) noexcept {
    try {
      bytes_.append(reinterpret_cast<const char*>(data), length);
      return true;
    } catch (const std::exception&) {
      return false;
    }
  }
  // Instead of libpng's own, which print.
  [[noreturn]] static void leave(png_structp png, png_const_charp) { png_longjmp(png, 1); }
  static void ignoreWarning(png_structp, png_const_charp) {}

  const Image& image_;
  const bool isOpaque_;
  std::vector<std::uint8_t> row_;  // of an image with alpha
  std::string bytes_;
  png_structp png_ = nullptr;
  png_infop info_ = nullptr;
};

}  // namespace

std::string encodedPNG(const Image& image) { return Writer(image).write(); }

}  // namespace platform
