#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/uikit/UIView.h"

namespace platform {

// The keys of the system's keyboard. A key that a finger is lifted over types into the first responder: its
// character, a space, Return ("\n"), or a deletion. Shift makes the next letter a capital.
//
// Owner: the keyboard (UIKeyboard). It never becomes first responder itself.
class PLATFORM_EXPORT UIKeyboardLayoutStar : public UIView {
  NS_OBJECT(UIKeyboardLayoutStar, UIView)

 public:
  static constexpr double kHeight = 268;

  explicit UIKeyboardLayoutStar(CGRect frame = {});

  // Where a key lies, in the view's coordinates: a letter in lower case, another character, or "shift",
  // "delete", "space", "return". None when there is no such key.
  std::optional<CGRect> frameOfKey(std::string_view name) const;

  void touchesBegan(const Touches& touches, UIEvent* event) override;
  void touchesMoved(const Touches& touches, UIEvent* event) override;
  void touchesEnded(const Touches& touches, UIEvent* event) override;
  void touchesCancelled(const Touches& touches, UIEvent* event) override;
  void drawRect(CGRect rect, BitmapContext& context) override;

 private:
  struct Key {
    std::string name;
    CGRect frame;
  };
  std::vector<Key> keys() const;
  // Empty where there is no key.
  std::string keyAt(CGPoint point) const;
  void setPressedKey(std::string name);
  void press(const std::string& name);
  void drawKey(const Key& key, BitmapContext& context) const;
  std::string capOf(const std::string& name) const;

  std::string pressedKey_;  // empty for none
  bool shifted_ = false;
};

}  // namespace platform
