#include "examples/support/Icons.h"

#include <initializer_list>

#include "platform/graphics/BitmapContext.h"

using namespace platform;

namespace {

constexpr double kSide = 24;
constexpr double kPixelsPerPoint = 3;
constexpr double kLine = 1.8;

void drawLines(BitmapContext& sheet, Color colour, std::initializer_list<CGPoint> points) {
  const CGPoint* from = points.begin();
  for (const CGPoint* to = from + 1; to != points.end(); from = to++) {
    sheet.strokeLine(*from, *to, colour, kLine);
  }
}

// A front with an awning.
void drawShop(BitmapContext& sheet, Color colour) {
  drawLines(sheet, colour, {{3, 9}, {5.5, 3.5}, {18.5, 3.5}, {21, 9}, {3, 9}});
  drawLines(sheet, colour, {{5, 12}, {5, 20.5}, {19, 20.5}, {19, 12}});
  drawLines(sheet, colour, {{10, 20}, {10, 14}, {14, 14}, {14, 20}});
}

void drawBasket(BitmapContext& sheet, Color colour) {
  drawLines(sheet, colour, {{3, 10}, {21, 10}, {18.5, 20.5}, {5.5, 20.5}, {3, 10}});
  drawLines(sheet, colour, {{8, 9.5}, {11, 3.5}});
  drawLines(sheet, colour, {{16, 9.5}, {13, 3.5}});
  for (const double x : {9.5, 14.5}) drawLines(sheet, colour, {{x, 13.5}, {x, 17}});
}

void drawPerson(BitmapContext& sheet, Color colour) {
  sheet.strokeRoundedRect(CGRectMake(8, 3, 8, 8), 4, colour, kLine);
  const BitmapContext::State above(sheet);
  sheet.clip(CGRectMake(0, 0, kSide, 21.5));
  sheet.strokeRoundedRect(CGRectMake(4, 14, 16, 16), 7, colour, kLine);
  drawLines(sheet, colour, {{4.9, 20.6}, {19.1, 20.6}});
}

}  // namespace

std::shared_ptr<const Image> icon(Icon icon, Color colour) {
  BitmapContext sheet({kSide, kSide}, kPixelsPerPoint);
  switch (icon) {
    case Icon::Shop:
      drawShop(sheet, colour);
      break;
    case Icon::Basket:
      drawBasket(sheet, colour);
      break;
    case Icon::Person:
      drawPerson(sheet, colour);
      break;
  }
  return sheet.makeImage();
}
