#include "examples/support/StatusBar.h"

#include <ctime>
#include <string>

#include "platform/graphics/BitmapContext.h"

using namespace platform;

namespace {

constexpr double kIndent = 24;
constexpr double kTop = 20;    // of the line that all of it stands on
constexpr double kRight = 78;  // what stands at the right takes so much
constexpr double kHeightOfSigns = 12;

// As of the drawing: a clock that is not looked at may stand still.
std::string timeText() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  char text[8];
  return {text, std::strftime(text, sizeof text, "%H:%M", &local)};
}

void drawBars(BitmapContext& context, double left, UIColor ink) {
  for (int i = 0; i < 4; ++i) {
    const double height = 3 + 3 * i;
    context.fillRoundedRect(CGRectMake(left + 5 * i, kTop + kHeightOfSigns - height, 3, height), 1, ink);
  }
}

void drawBattery(BitmapContext& context, double left, UIColor ink) {
  context.strokeRoundedRect(CGRectMake(left, kTop, 24, kHeightOfSigns), 3.5, ink.withAlpha(0.5), 1);
  context.fillRoundedRect(CGRectMake(left + 2, kTop + 2, 16, kHeightOfSigns - 4), 2, ink);
  context.fillRoundedRect(CGRectMake(left + 25, kTop + 4, 2, 4), 1, ink.withAlpha(0.5));
}

}  // namespace

StatusBar::StatusBar(UIColor ink) : ink_(ink) { setUserInteractionEnabled(false); }

CGRect StatusBar::frame() const {
  return CGRectMake(0, 0, superview() ? superview()->bounds().size.width : 0, kHeight);
}

void StatusBar::drawRect(CGRect rect, BitmapContext& context) {
  context.drawText(timeText(), CGRectMake(kIndent, kTop - 4, 80, kHeightOfSigns + 8),
                   {.font = Font::boldSystemFont(15), .color = ink_});
  drawBars(context, rect.size.width - kRight, ink_);
  drawBattery(context, rect.size.width - kRight + 27, ink_);
}
