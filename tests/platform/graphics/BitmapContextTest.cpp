#include "platform/graphics/BitmapContext.h"

#include <gtest/gtest.h>

#include <ctime>
#include <limits>
#include <stdexcept>

namespace {

using namespace platform;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// Where there is anything on a picture; null when it is clear.
CGRect inkOf(const BitmapContext& context) {
  const auto image = context.makeImage();
  int left = image->width(), top = image->height(), right = 0, bottom = 0;
  for (int y = 0; y < image->height(); ++y) {
    for (int x = 0; x < image->width(); ++x) {
      if (image->colorAtPixel(x, y).alpha == 0) continue;
      left = std::min(left, x);
      right = std::max(right, x + 1);
      top = std::min(top, y);
      bottom = y + 1;
    }
  }
  const double scale = image->scale();
  if (left >= right) return CGRectNull;
  return CGRectMake(left / scale, top / scale, (right - left) / scale, (bottom - top) / scale);
}

CGRect inkOfText(std::string_view text, const CGRect& rect, const TextStyle& style = {}) {
  BitmapContext context({300, 200}, 2);
  context.drawText(text, rect, style);
  return inkOf(context);
}

TEST(BitmapContextTest, RefusesImpossibleSizes) {
  for (const CGSize size : {CGSize{0, 10}, CGSize{10, -1}, CGSize{kNaN, 10}, CGSize{kInfinity, 1},
                            CGSize{16385, 1}, CGSize{16384, 16384}}) {
    EXPECT_THROW(BitmapContext(size, 1), std::invalid_argument) << size.width << " x " << size.height;
  }
  EXPECT_THROW(BitmapContext({10, 10}, kNaN), std::invalid_argument);
  EXPECT_EQ(BitmapContext({10.1, 1}, 2).makeImage()->width(), 21);
}

TEST(BitmapContextTest, DrawsALargeImageSmallFromAllItsPixels) {
  // Columns white and clear in turn.
  constexpr int kSide = 67;
  std::vector<std::uint8_t> pixels;
  for (int i = 0; i < kSide * kSide; ++i) pixels.insert(pixels.end(), 4, i % kSide % 2 ? 0 : 0xFF);
  BitmapContext context({8, 8}, 2);
  context.drawImage(*Image::create(kSide, kSide, 1, std::move(pixels)), CGRectMake(1, 1, 4, 4));
  const auto image = context.makeImage();
  for (const auto& [x, y] : {std::pair(2, 2), {9, 5}, {5, 9}, {9, 9}}) {
    EXPECT_NEAR(image->colorAtPixel(x, y).alpha, 0.5, 0.02) << x << ", " << y;
    EXPECT_NEAR(image->colorAtPixel(x, y).red, 1, 0.01);
  }
  EXPECT_EQ(inkOf(context), CGRectMake(1, 1, 4, 4));

  context.drawImage(*Image::create(8, 1, 1, std::vector<std::uint8_t>(32, 0xFF)), CGRectMake(6, 6, 0.5, 0.5));
  EXPECT_EQ(context.makeImage()->colorAtPixel(12, 12), Color::white());
}

TEST(BitmapContextTest, AnImageIsCopiedOrTaken) {
  BitmapContext context({7, 5}, 1, BitmapContext::Backing::Black);
  context.fillRect(CGRectMake(2, 1, 3, 3), Color::systemRed().withAlpha(0.5));
  const auto copied = context.makeImage();
  context.fillRect(CGRectMake(0, 0, 1, 1), Color::white());
  const auto taken = std::move(context).takeImage();
  EXPECT_EQ(copied->colorAtPixel(0, 0), Color::black());
  EXPECT_EQ(taken->colorAtPixel(0, 0), Color::white());
  EXPECT_EQ(taken->size(), (CGSize{7, 5}));
  for (const auto& image : {copied, taken}) EXPECT_EQ(image->colorAtPixel(3, 2).alpha, 1);
}

TEST(BitmapContextTest, ClipsAndTranslatesUntilTheStateEnds) {
  BitmapContext context({100, 100}, 2);
  {
    const BitmapContext::State state(context);
    context.translate(10, 10);
    context.clip(CGRectMake(5, 5, 20, 20));
    context.clipRounded(CGRectMake(5, 5, 40, 10), 5);
    EXPECT_EQ(context.clipBounds(), CGRectMake(5, 5, 20, 10));
    context.fillRect(CGRectMake(-1e9, -1e9, 2e9, kInfinity), Color::systemRed());
  }
  EXPECT_EQ(inkOf(context), CGRectMake(15, 15, 20, 10));
  EXPECT_EQ(context.makeImage()->colorAtPixel(30, 30), Color::clear()) << "the corner is round";
  context.clip(CGRectMake(kNaN, 0, 10, 10));
  EXPECT_TRUE(CGRectIsNull(context.clipBounds()));
}

TEST(BitmapContextTest, PutsALayerDownAsOne) {
  BitmapContext context({10, 10}, 1);
  {
    const BitmapContext::TransparencyLayer layer(context, 0.5);
    context.fillRect(CGRectMake(0, 0, 8, 8), Color::black());
    context.fillRect(CGRectMake(2, 2, 8, 8), Color::white());
  }
  const Color color = context.makeImage()->colorAtPixel(5, 5);
  EXPECT_NEAR(color.alpha, 0.5, 0.01);
  EXPECT_EQ(color.withAlpha(1), Color::white()) << "nothing of the black below shows through";
}

TEST(BitmapContextTest, WhatHasNoPlaceDrawsNothing) {
  BitmapContext context({20, 20}, 1);
  const auto image = BitmapContext({2, 2}, 1).makeImage();
  for (const CGRect& rect : {CGRectNull, CGRectMake(kNaN, 0, 10, 10), CGRectMake(0, 0, -5, 10),
                             CGRectMake(-5e299, -5e299, 1e300, 1e300), CGRectMake(0, 1e12, 10, 10)}) {
    context.strokeRoundedRect(rect, 3, Color::black(), 1);
    context.fillEllipse(rect, Color::black());
    context.drawImage(*image, rect);
    context.drawText("text", rect, {});
  }
  context.strokeLine({kNaN, 0}, {5, 5}, Color::black(), 1);
  context.translate(kNaN, 0);
  { const BitmapContext::TransparencyLayer layer(context, kNaN); }
  EXPECT_EQ(inkOf(context), CGRectNull);
  context.fillEllipse(CGRectMake(5, 5, 10, 10), Color::black());
  EXPECT_EQ(inkOf(context), CGRectMake(5, 5, 10, 10)) << "it still draws";
}

TEST(DrawTextTest, StaysInItsRectangle) {
  const CGRect rect = CGRectMake(50, 80, 100, 40);
  const double margin = 100 - sizeOfText("Label", Font{}).width;
  for (const auto& [alignment, x] :
       {std::pair(TextAlignment::Left, 0.0), std::pair(TextAlignment::Center, margin / 2),
        std::pair(TextAlignment::Right, margin)}) {
    const CGRect ink = inkOfText("Label", rect, {.alignment = alignment});
    EXPECT_NEAR(CGRectGetMinX(ink), 50 + x, 3);
    EXPECT_NEAR(CGRectGetMidY(ink), CGRectGetMidY(rect), 4);
  }
  const CGRect low = CGRectMake(50, 80, 30, 8);
  EXPECT_EQ(CGRectIntersection(inkOfText("Wide and tall", low), low), inkOfText("Wide and tall", low));
}

TEST(DrawTextTest, EndsInAnEllipsisWhatDoesNotFit) {
  const CGRect rect = CGRectMake(0, 0, 100, 200);
  const std::string_view words = "several words that go on for longer than there is room";
  const double line = sizeOfText("X", Font{}).height;
  const CGSize one = inkOfText(words, rect).size;
  EXPECT_TRUE(one.height < line && one.width > 80) << one.width << " x " << one.height;
  EXPECT_GT(inkOfText(words, rect, {.numberOfLines = 2}).size.height, line);
  EXPECT_EQ(inkOfText("a\nb", rect), inkOfText("a…", rect));
  EXPECT_EQ(inkOfText("a\n", rect), inkOfText("a", rect));
  const CGRect low = CGRectMake(0, 0, 100, 2 * line);
  const TextStyle any{.numberOfLines = 0};
  EXPECT_EQ(inkOfText("a\nb\nc\nd", low, any), inkOfText("a\nb…", low, any));
}

TEST(DrawTextTest, MeasuresWhatItDraws) {
  const std::string_view words = "words that wrap\nand, in a second paragraph, wrap again";
  for (const double size : {9.0, 13.5, 17.0, 34.0}) {
    const TextStyle style{.font = Font::boldSystemFont(size), .numberOfLines = 0};
    const CGRect room{{0, 0}, sizeOfText(words, style.font, 150)};
    EXPECT_EQ(inkOfText(words, room, style).size, inkOfText(words, CGRectMake(0, 0, 150, 200), style).size)
        << size;
  }
  EXPECT_EQ(sizeOfText(words, Font{}, 150, 2).height, 2 * sizeOfText("X", Font{}).height);
  EXPECT_EQ(sizeOfText("", Font{}), CGSize{});
}

TEST(DrawTextTest, TakesAnyText) {
  using namespace std::string_view_literals;
  for (const std::string_view text : {"a\xff\xfe\x80z"sv, "a\0z"sv, "\xe2\x80"sv, "שלום"sv, "\x01\x02z"sv}) {
    EXPECT_NE(inkOfText(text, CGRectMake(0, 0, 300, 200)), CGRectNull) << text;
  }
  const std::string stray(20'000, '\x80');
  EXPECT_EQ(sizeOfText(stray + stray, Font{}), sizeOfText(stray, Font{}))
      << "both are cut at the same character";
  for (const std::string_view piece : {"word ", "W", "\n", "e\u0301\u0302", "\u2028"}) {
    std::string text;
    while (text.size() < 10'000'000) text += piece;
    const std::clock_t begin = std::clock();
    sizeOfText(text, Font::systemFont(900));
    inkOfText(text, CGRectMake(0, 0, 300, 200), {.numberOfLines = 0});
    EXPECT_LT(std::clock() - begin, 2 * CLOCKS_PER_SEC) << piece << ", of processor time";
  }
}

}  // namespace
