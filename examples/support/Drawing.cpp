#include "examples/support/Drawing.h"

#include "platform/graphics/BitmapContext.h"

using namespace platform;

namespace {

// Pictures are drawn on a sheet of so many points each way.
constexpr double kSide = 160;
constexpr double kPixelsPerPoint = 3;

constexpr Color mixed(Color a, Color b, double part) {
  return {a.red + (b.red - a.red) * part, a.green + (b.green - a.green) * part,
          a.blue + (b.blue - a.blue) * part};
}
constexpr Color lighter(Color colour, double part) { return mixed(colour, Color::white(), part); }
constexpr Color darker(Color colour, double part) { return mixed(colour, Color::black(), part); }

void drawShirt(BitmapContext& sheet, Color colour, Color ground) {
  sheet.strokeLine({56, 50}, {32, 76}, colour, 26);
  sheet.strokeLine({104, 50}, {128, 76}, colour, 26);
  sheet.fillRoundedRect(CGRectMake(48, 38, 64, 92), 8, colour);
  sheet.fillEllipse(CGRectMake(64, 26, 32, 26), ground);
  sheet.strokeLine({80, 54}, {80, 128}, darker(colour, 0.22), 2);
  for (const double y : {66, 84, 102, 120}) sheet.fillEllipse(CGRectMake(77, y, 6, 6), Color::white());
}

void drawBeanie(BitmapContext& sheet, Color colour, Color ground) {
  sheet.fillEllipse(CGRectMake(66, 22, 28, 28), lighter(colour, 0.35));
  sheet.fillRoundedRect(CGRectMake(36, 44, 88, 90), 44, colour);
  for (const double x : {58, 80, 102}) sheet.strokeLine({x, 60}, {x, 96}, darker(colour, 0.15), 3);
  sheet.fillRect(CGRectMake(30, 104, 100, 32), ground);
  sheet.fillRoundedRect(CGRectMake(28, 98, 104, 30), 12, darker(colour, 0.22));
}

void drawBackpack(BitmapContext& sheet, Color colour) {
  sheet.strokeRoundedRect(CGRectMake(66, 20, 28, 28), 12, darker(colour, 0.3), 6);
  sheet.fillRoundedRect(CGRectMake(40, 34, 80, 100), 26, colour);
  sheet.fillRoundedRect(CGRectMake(26, 78, 20, 46), 9, darker(colour, 0.22));
  sheet.fillRoundedRect(CGRectMake(114, 78, 20, 46), 9, darker(colour, 0.22));
  sheet.fillRoundedRect(CGRectMake(54, 84, 52, 40), 10, lighter(colour, 0.25));
  sheet.strokeLine({60, 96}, {100, 96}, darker(colour, 0.3), 3);
  sheet.strokeLine({54, 62}, {106, 62}, darker(colour, 0.3), 3);
}

void drawMug(BitmapContext& sheet, Color colour) {
  sheet.strokeRoundedRect(CGRectMake(96, 74, 34, 38), 16, darker(colour, 0.15), 9);
  sheet.fillRoundedRect(CGRectMake(40, 58, 70, 74), 14, colour);
  sheet.fillRoundedRect(CGRectMake(40, 58, 70, 18), 9, lighter(colour, 0.3));
  for (const double x : {58, 75, 92}) {
    sheet.strokeLine({x, 46}, {x + 4, 38}, lighter(colour, 0.5), 4);
    sheet.strokeLine({x + 4, 38}, {x, 28}, lighter(colour, 0.5), 4);
  }
}

void drawUmbrella(BitmapContext& sheet, Color colour) {
  sheet.strokeLine({80, 30}, {80, 124}, darker(colour, 0.4), 5);
  sheet.strokeLine({80, 124}, {94, 128}, darker(colour, 0.4), 5);
  sheet.strokeLine({94, 128}, {98, 118}, darker(colour, 0.4), 5);
  const BitmapContext::State canopy(sheet);
  sheet.clip(CGRectMake(0, 0, kSide, 84));
  sheet.fillEllipse(CGRectMake(22, 32, 116, 104), colour);
  sheet.fillEllipse(CGRectMake(48, 32, 64, 104), lighter(colour, 0.2));
  sheet.fillEllipse(CGRectMake(68, 32, 24, 104), colour);
}

void drawNotebook(BitmapContext& sheet, Color colour) {
  sheet.fillRoundedRect(CGRectMake(50, 32, 72, 102), 6, lighter(colour, 0.6));
  sheet.fillRoundedRect(CGRectMake(42, 28, 76, 102), 7, colour);
  sheet.fillRect(CGRectMake(52, 28, 5, 102), darker(colour, 0.22));
  sheet.fillRoundedRect(CGRectMake(68, 48, 38, 22), 4, lighter(colour, 0.75));
  sheet.strokeLine({74, 56}, {100, 56}, darker(colour, 0.3), 2);
  sheet.strokeLine({74, 62}, {92, 62}, darker(colour, 0.3), 2);
}

}  // namespace

std::shared_ptr<const Image> picture(Drawing drawing, Color colour, Ground ground) {
  BitmapContext sheet({kSide, kSide}, kPixelsPerPoint);
  const Color around = ground == Ground::Light ? lighter(colour, 0.86) : darker(colour, 0.7);
  sheet.fillRoundedRect(CGRectMake(0, 0, kSide, kSide), 18, around);
  switch (drawing) {
    case Drawing::Shirt:
      drawShirt(sheet, colour, around);
      break;
    case Drawing::Beanie:
      drawBeanie(sheet, colour, around);
      break;
    case Drawing::Backpack:
      drawBackpack(sheet, colour);
      break;
    case Drawing::Mug:
      drawMug(sheet, colour);
      break;
    case Drawing::Umbrella:
      drawUmbrella(sheet, colour);
      break;
    case Drawing::Notebook:
      drawNotebook(sheet, colour);
      break;
  }
  return sheet.makeImage();
}
