#include "platform/uikit/UITextField.h"

#include <algorithm>
#include <utility>

#include "platform/foundation/NSNotificationCenter.h"
#include "platform/foundation/Text.h"
#include "platform/graphics/BitmapContext.h"
#include "platform/uikit/UIAppearance.h"
#include "platform/uikit/UIKeyboard.h"
#include "platform/uikit/UITouch.h"

namespace platform {

namespace {

constexpr double kMargin = 16;
constexpr double kHeight = 34;
constexpr double kCornerRadius = 6;
constexpr double kCaretWidth = 2;
constexpr std::ptrdiff_t kMaximumDots = 200;
constexpr Font kFont = Font::systemFont(17);

void post(std::string_view name, UITextField& field) {
  NSNotificationCenter::defaultCenter().post(name, field.weak_from_this().lock());
}

}  // namespace

UITextField::UITextField(CGRect frame) : UIControl(frame) {
  setBackgroundColor(UIColor::systemBackground());
  setCornerRadius(kCornerRadius);
  setBorder(1, UIColor::separator());
}

UITextField::~UITextField() {
  try {
    UIKeyboard::sharedKeyboard().hideFor(*this);
  } catch (...) {
    // An observer of windows threw; a destructor has nobody to pass that on to.
  }
}

void UITextField::setText(std::optional<String> text) {
  text_ = std::move(text);
  setNeedsDisplay();
}

void UITextField::setPlaceholder(std::optional<String> placeholder) {
  placeholder_ = std::move(placeholder);
  setNeedsDisplay();
}

void UITextField::setSecureTextEntry(bool secure) {
  secureTextEntry_ = secure;
  hasBeenSecureTextEntry();
  setNeedsDisplay();
}

bool UITextField::hasBeenSecureTextEntry() {
  return hasBeenSecureTextEntry_ = hasBeenSecureTextEntry_ || isSecureTextEntry();
}

bool UITextField::becomeFirstResponder() {
  if (isFirstResponder()) return true;
  if (!canBecomeFirstResponder() || !window()) return false;
  const auto self = weak_from_this().lock();
  if (const auto delegate = delegate_.lock(); delegate && !delegate->textFieldShouldBeginEditing(*this)) {
    return false;
  }
  if (!takePlace()) return false;
  if (std::exchange(editing_, true)) return true;  // begun already, from an action of the field that ended
  setNeedsDisplay();
  sendActionsForControlEvents(UIControlEvents::EditingDidBegin);
  post(UITextFieldTextDidBeginEditingNotification, *this);
  return true;
}

// The keyboard comes first: so it stays where it is when another field ends for this one.
bool UITextField::takePlace() {
  UIKeyboard::sharedKeyboard().showFor(*this);
  try {
    if (UIControl::becomeFirstResponder()) return true;
  } catch (...) {
    giveKeyboardBack();
    throw;
  }
  giveKeyboardBack();
  return false;
}

void UITextField::giveKeyboardBack() {
  UIKeyboard& keyboard = UIKeyboard::sharedKeyboard();
  if (const auto other = std::dynamic_pointer_cast<UITextField>(firstResponder())) {
    keyboard.showFor(*other);
  } else {
    keyboard.hideFor(*this);
  }
}

bool UITextField::resignFirstResponder() {
  if (!isFirstResponder()) return UIControl::resignFirstResponder();
  const auto self = weak_from_this().lock();
  if (const auto delegate = delegate_.lock(); delegate && !delegate->textFieldShouldEndEditing(*this)) {
    return false;
  }
  return endEditing();
}

bool UITextField::endEditing() {
  const auto self = weak_from_this().lock();
  if (!UIControl::resignFirstResponder()) return false;
  editing_ = false;
  UIKeyboard::sharedKeyboard().hideFor(*this);
  setNeedsDisplay();
  sendActionsForControlEvents(UIControlEvents::EditingDidEnd);
  post(UITextFieldTextDidEndEditingNotification, *this);
  return true;
}

void UITextField::insertText(const String& text) {
  if (text.view() == "\n") return pressReturn();
  if (text.empty()) return;
  text_ = text_ ? String(text_->str().append(text.view())) : text;
  textDidChange();
}

void UITextField::deleteBackward() {
  if (!text_ || text_->empty()) return;
  text_ = String(removingLastCharacter(*text_));
  textDidChange();
}

void UITextField::pressReturn() {
  const auto self = weak_from_this().lock();
  if (const auto delegate = delegate_.lock(); delegate && !delegate->textFieldShouldReturn(*this)) return;
  sendActionsForControlEvents(UIControlEvents::EditingDidEndOnExit);
  resignFirstResponder();
}

void UITextField::textDidChange() {
  const auto self = weak_from_this().lock();
  setNeedsDisplay();
  sendActionsForControlEvents(UIControlEvents::EditingChanged);
  post(UITextFieldTextDidChangeNotification, *this);
}

void UITextField::touchUp(const UITouch& touch, UIEvent* event) {
  const bool inside = isTouchInside(touch);
  UIControl::touchUp(touch, event);
  if (inside) becomeFirstResponder();
}

void UITextField::didMoveToWindow() {
  // Whoever leaves a window is first responder no longer, whatever the delegate says.
  if (editing_ && !isFirstResponder()) endEditing();
}

CGSize UITextField::sizeThatFits(CGSize) const {
  const String shown = text_ && !text_->empty() ? String(shownText()) : placeholder_.value_or(String());
  return {sizeOfText(shown, kFont).width + 2 * kMargin + kCaretWidth, kHeight};
}

std::string UITextField::shownText() const {
  if (!text_) return {};
  if (!secureTextEntry_) return text_->str();
  const std::string_view text = *text_;
  const auto characters = std::count_if(
      text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; });
  std::string dots;
  for (auto i = std::min(characters, kMaximumDots); i > 0; --i) dots += "\u2022";
  return dots;
}

void UITextField::drawRect(CGRect, BitmapContext& context) {
  const BitmapContext::State state(context);
  CGRect room = bounds();
  room.origin.x += kMargin;
  room.size.width -= 2 * kMargin;
  context.clip(room);

  const UIAppearance& appearance = UIAppearance::shared();
  const TextStyle style{.font = kFont, .color = isEnabled() ? appearance.label : appearance.placeholder};
  const std::string shown = shownText();
  const double textWidth = sizeOfText(shown, kFont).width;
  if (shown.empty() && placeholder_) {
    TextStyle grey = style;
    grey.color = appearance.placeholder;
    context.drawText(*placeholder_, room, grey);
  }
  // While the user edits, the end of a long text is what is seen.
  const double hidden = isEditing() ? std::max(0.0, textWidth + kCaretWidth - room.size.width) : 0;
  const CGRect line = CGRectMake(room.origin.x - hidden, room.origin.y,
                                 isEditing() ? textWidth : room.size.width, room.size.height);
  context.drawText(shown, line, style);
  if (!isEditing()) return;
  const double caretHeight = kFont.size * 1.2;
  context.fillRect(
      CGRectMake(line.origin.x + textWidth, CGRectGetMidY(room) - caretHeight / 2, kCaretWidth, caretHeight),
      appearance.tint);
}

}  // namespace platform
