#include "platform/graphics/Image.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "platform/graphics/BitmapContext.h"

namespace {

using namespace platform;

std::shared_ptr<const Image> sample(Color background) {
  BitmapContext context({30, 20}, 2);
  context.fillRect(CGRectMake(0, 0, 30, 20), background);
  context.fillEllipse(CGRectMake(0, 0, 15, 20), Color::systemBlue());
  context.fillRect(CGRectMake(15, 0, 15, 20), Color::systemRed().withAlpha(0.5));
  return context.makeImage();
}

TEST(ImageTest, SurvivesPNG) {
  for (const Color background : {Color::white(), Color::clear()}) {
    const auto before = sample(background);
    const auto after = Image::imageWithPNGData(before->PNGRepresentation(), 2);
    ASSERT_TRUE(after);
    EXPECT_EQ(after->size(), (CGSize{30, 20}));
    EXPECT_TRUE(std::ranges::equal(after->pixels(), before->pixels()));
  }
}

TEST(ImageTest, RefusesWhatIsNoPNG) {
  const std::string png = sample(Color::white())->PNGRepresentation();
  EXPECT_FALSE(Image::imageWithPNGData("GIF89a, and so on for a while, longer than a head"));
  for (std::size_t length = 0; length < png.size(); ++length) {
    ASSERT_FALSE(Image::imageWithPNGData(png.substr(0, length))) << "cut after " << length;
  }
  std::string damaged = png;
  damaged[png.size() / 2] ^= 0x55;
  EXPECT_FALSE(Image::imageWithPNGData(damaged));
  std::string huge = png;
  huge[16 + 2] = 0x40;  // 16,4xx pixels wide
  EXPECT_FALSE(Image::imageWithPNGData(huge));
}

TEST(ImageTest, PixelsMustFitTheSize) {
  EXPECT_TRUE(Image::create(2, 3, 1, std::vector<std::uint8_t>(24)));
  EXPECT_FALSE(Image::create(2, 3, 1, std::vector<std::uint8_t>(23)));
  EXPECT_FALSE(Image::create(-2, -3, 1, std::vector<std::uint8_t>(24)));
  const auto pixel = Image::create(1, 1, 1, {0, 64, 128, 128});
  EXPECT_EQ(pixel->colorAtPixel(0, 0), (Color{1, 0.5, 0, 128 / 255.0}));
  EXPECT_EQ(pixel->colorAtPixel(1, 0), Color::clear());
}

TEST(ImageTest, ScalesToTheBorders) {
  const auto scaled = sample(Color::white())->scaledTo({7.5, 5});
  ASSERT_TRUE(scaled);
  EXPECT_EQ(scaled->width(), 15);
  for (const int y : {0, 9})
    EXPECT_EQ(scaled->colorAtPixel(14, y).alpha, 1) << "nothing bleeds in from outside";
  EXPECT_EQ(scaled->colorAtPixel(3, 5), Color::systemBlue());
  EXPECT_FALSE(scaled->scaledTo({1e9, 5}));
}

}  // namespace
