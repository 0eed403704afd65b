#include "platform/graphics/Image.h"

#include <gtest/gtest.h>
#include <png.h>

#include <algorithm>

#include "platform/graphics/BitmapContext.h"

namespace {

using namespace platform;

// As those of an Image.
std::vector<std::uint8_t> pixelsOfPNG(const std::string& png) {
  png_image read{};
  read.version = PNG_IMAGE_VERSION;
  EXPECT_TRUE(png_image_begin_read_from_memory(&read, png.data(), png.size()));
  read.format = PNG_FORMAT_BGRA;
  std::vector<std::uint8_t> pixels(PNG_IMAGE_SIZE(read));
  EXPECT_TRUE(png_image_finish_read(&read, nullptr, pixels.data(), 0, nullptr));
  for (std::size_t i = 0; i < pixels.size(); ++i)
    if (i % 4 != 3) pixels[i] = static_cast<std::uint8_t>((pixels[i] * pixels[i | 3] + 127) / 255);
  return pixels;
}

TEST(ImageTest, SurvivesPNG) {
  for (const Color background : {Color::white(), Color::clear()}) {
    BitmapContext context({30, 20}, 2);
    context.fillRect(CGRectMake(0, 0, 30, 20), background);
    context.fillEllipse(CGRectMake(0, 0, 15, 20), Color::systemBlue());
    context.fillRect(CGRectMake(15, 0, 15, 20), Color::systemRed().withAlpha(0.5));
    const auto image = context.makeImage();
    EXPECT_TRUE(std::ranges::equal(pixelsOfPNG(image->PNGRepresentation()), image->pixels()));
  }
}

TEST(ImageTest, PixelsMustFitTheSize) {
  EXPECT_TRUE(Image::create(2, 3, 1, std::vector<std::uint8_t>(24)));
  EXPECT_FALSE(Image::create(2, 3, 1, std::vector<std::uint8_t>(23)));
  EXPECT_FALSE(Image::create(-2, -3, 1, std::vector<std::uint8_t>(24)));
  const auto pixel = Image::create(1, 1, 1, {0, 64, 128, 128});
  EXPECT_EQ(pixel->colorAtPixel(0, 0), (Color{1, 0.5, 0, 128 / 255.0}));
  EXPECT_EQ(pixel->colorAtPixel(1, 0), Color::clear());
}

}  // namespace
