#include "platform/uikit/UIKeyboardLayoutStar.h"

#include <cctype>
#include <initializer_list>

#include "platform/graphics/BitmapContext.h"
#include "platform/uikit/UIAppearance.h"
#include "platform/uikit/UITouch.h"

namespace platform {

namespace {

struct KeyShape {
  const char* name;
  double width = 1;  // in letter keys
};

// A row is centred when it is narrower than ten letter keys.
using Row = std::initializer_list<KeyShape>;
const std::initializer_list<Row> kRows = {
    {{"1"}, {"2"}, {"3"}, {"4"}, {"5"}, {"6"}, {"7"}, {"8"}, {"9"}, {"0"}},
    {{"q"}, {"w"}, {"e"}, {"r"}, {"t"}, {"y"}, {"u"}, {"i"}, {"o"}, {"p"}},
    {{"a"}, {"s"}, {"d"}, {"f"}, {"g"}, {"h"}, {"j"}, {"k"}, {"l"}},
    {{"shift", 1.5}, {"z"}, {"x"}, {"c"}, {"v"}, {"b"}, {"n"}, {"m"}, {"delete", 1.5}},
    {{"@"}, {"-"}, {"space", 4.5}, {"."}, {"return", 2.5}},
};
constexpr double kLettersInARow = 10;

constexpr double kMargin = 3;         // around the rows
constexpr double kBottomMargin = 20;  // keeps clear of the edge of the screen
constexpr double kKeyInset = 3;       // from what belongs to a key to what is drawn of it
constexpr double kKeyInsetVertical = 5;
constexpr double kCornerRadius = 5;

bool isSpecial(std::string_view name) { return name == "shift" || name == "delete" || name == "return"; }

}  // namespace

UIKeyboardLayoutStar::UIKeyboardLayoutStar(CGRect frame) : UIView(frame) {
  setBackgroundColor(UIAppearance::shared().keyboard);
  setMultipleTouchEnabled(true);
}

std::vector<UIKeyboardLayoutStar::Key> UIKeyboardLayoutStar::keys() const {
  const CGRect all = bounds();
  const double unit = (all.size.width - 2 * kMargin) / kLettersInARow;
  const double rowHeight = (all.size.height - kMargin - kBottomMargin) / static_cast<double>(kRows.size());
  std::vector<Key> keys;
  double y = all.origin.y + kMargin;
  for (const Row& row : kRows) {
    double units = 0;
    for (const KeyShape& shape : row) units += shape.width;
    double x = CGRectGetMidX(all) - units * unit / 2;
    for (const KeyShape& shape : row) {
      keys.push_back({shape.name, CGRectMake(x, y, shape.width * unit, rowHeight)});
      x += shape.width * unit;
    }
    y += rowHeight;
  }
  return keys;
}

std::optional<CGRect> UIKeyboardLayoutStar::frameOfKey(std::string_view name) const {
  for (const Key& key : keys()) {
    if (key.name == name) return key.frame;
  }
  return std::nullopt;
}

std::string UIKeyboardLayoutStar::keyAt(CGPoint point) const {
  for (const Key& key : keys()) {
    if (CGRectContainsPoint(key.frame, point)) return key.name;
  }
  return {};
}

void UIKeyboardLayoutStar::touchesBegan(const Touches& touches, UIEvent*) {
  for (const auto& touch : touches) setPressedKey(keyAt(touch->locationInView(this)));
}

void UIKeyboardLayoutStar::touchesMoved(const Touches& touches, UIEvent*) {
  for (const auto& touch : touches) setPressedKey(keyAt(touch->locationInView(this)));
}

void UIKeyboardLayoutStar::touchesEnded(const Touches& touches, UIEvent*) {
  const auto self = weak_from_this().lock();
  setPressedKey({});
  for (const auto& touch : touches) press(keyAt(touch->locationInView(this)));
}

void UIKeyboardLayoutStar::touchesCancelled(const Touches&, UIEvent*) { setPressedKey({}); }

void UIKeyboardLayoutStar::setPressedKey(std::string name) {
  if (pressedKey_ == name) return;
  pressedKey_ = std::move(name);
  setNeedsDisplay();
}

void UIKeyboardLayoutStar::press(const std::string& name) {
  if (name.empty()) return;
  if (name == "shift") {
    shifted_ = !shifted_;
    setNeedsDisplay();
    return;
  }
  const std::string typed = capOf(name);
  shifted_ = false;
  setNeedsDisplay();

  const auto responder = UIResponder::firstResponder();
  if (!responder) return;
  if (name == "delete") {
    responder->deleteBackward();
  } else if (name == "space") {
    responder->insertText(" ");
  } else if (name == "return") {
    responder->insertText("\n");
  } else {
    responder->insertText(typed);
  }
}

std::string UIKeyboardLayoutStar::capOf(const std::string& name) const {
  if (name == "shift") return "\u21E7";
  if (name == "delete") return "\u232B";
  if (!shifted_ || name.size() != 1) return name;
  return std::string(1, static_cast<char>(std::toupper(static_cast<unsigned char>(name.front()))));
}

void UIKeyboardLayoutStar::drawRect(CGRect, BitmapContext& context) {
  for (const Key& key : keys()) drawKey(key, context);
}

void UIKeyboardLayoutStar::drawKey(const Key& key, BitmapContext& context) const {
  const CGRect shape = CGRectInset(key.frame, kKeyInset, kKeyInsetVertical);
  const bool isDown = key.name == pressedKey_ || (key.name == "shift" && shifted_);
  const UIAppearance& paints = UIAppearance::shared();
  const UIColor color = isSpecial(key.name) != isDown ? paints.specialKey : paints.key;
  context.fillRoundedRect(CGRectOffset(shape, 0, 1), kCornerRadius, paints.keyShadow);
  context.fillRoundedRect(shape, kCornerRadius, color);

  const bool isWord = key.name == "space" || key.name == "return";
  context.drawText(capOf(key.name), shape,
                   {.font = Font::systemFont(isWord ? 16 : 22),
                    .color = paints.label,
                    .alignment = TextAlignment::Center});
}

}  // namespace platform
