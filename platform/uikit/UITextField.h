#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "platform/uikit/UIControl.h"
#include "platform/uikit/UILabel.h"

namespace platform {

class UITextField;

// Posted with the field as object.
inline constexpr std::string_view UITextFieldTextDidBeginEditingNotification =
    "UITextFieldTextDidBeginEditingNotification";
inline constexpr std::string_view UITextFieldTextDidChangeNotification =
    "UITextFieldTextDidChangeNotification";
inline constexpr std::string_view UITextFieldTextDidEndEditingNotification =
    "UITextFieldTextDidEndEditingNotification";

// Decides for a field; every method is optional.
class UITextFieldDelegate {
 public:
  virtual ~UITextFieldDelegate() = default;
  virtual bool textFieldShouldBeginEditing(UITextField&) { return true; }
  virtual bool textFieldShouldEndEditing(UITextField&) { return true; }
  // Return was pressed. Whether the field ends editing.
  virtual bool textFieldShouldReturn(UITextField&) { return true; }
};

// One line of text that the user edits.
//
// A touch makes the field first responder: the keyboard comes, EditingDidBegin is sent, the notification is
// posted. Editing ends when another responder takes the place, the field resigns or leaves its window; then
// EditingDidEnd is sent and the notification posted, once, before another field begins. What is typed goes to
// the end of the text.
class PLATFORM_EXPORT UITextField : public UIControl {
  NS_OBJECT(UITextField, UIControl)

 public:
  explicit UITextField(CGRect frame = {});
  ~UITextField() override;

  virtual std::optional<String> text() const { return text_; }
  void setText(std::optional<String> text);
  void setPlaceholder(std::optional<String> placeholder);
  // Dots instead of the text on the screen, nothing to assistive technology.
  virtual bool isSecureTextEntry() const { return secureTextEntry_; }
  void setSecureTextEntry(bool secure);
  // What the user has had shown is no less a password. Where the toolkit keeps isSecureTextEntry(), it has
  // been when this is asked.
  bool hasBeenSecureTextEntry();
  bool isEditing() const { return isFirstResponder(); }
  // Held weakly.
  void setDelegate(std::weak_ptr<UITextFieldDelegate> delegate) { delegate_ = std::move(delegate); }

  bool canBecomeFirstResponder() const override { return isEnabled(); }
  bool becomeFirstResponder() override;
  bool resignFirstResponder() override;
  // "\n" is Return: where the delegate agrees, EditingDidEndOnExit is sent and editing ends.
  void insertText(const String& text) override;
  // Takes away the last character as the user sees it, with its accents.
  void deleteBackward() override;

  void didMoveToWindow() override;
  CGSize sizeThatFits(CGSize size) const override;
  void drawRect(CGRect rect, BitmapContext& context) override;

 protected:
  void touchUp(const UITouch& touch, UIEvent* event) override;

 private:
  bool takePlace();
  void giveKeyboardBack();
  void pressReturn();
  bool endEditing();
  void textDidChange();
  std::string shownText() const;

  std::optional<String> text_;
  std::optional<String> placeholder_;
  std::weak_ptr<UITextFieldDelegate> delegate_;
  bool secureTextEntry_ = false;
  bool hasBeenSecureTextEntry_ = false;
  bool editing_ = false;  // begun, and not ended
};

}  // namespace platform
