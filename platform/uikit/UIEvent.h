#pragma once

#include <memory>
#include <vector>

#include "platform/runtime/NSObject.h"
#include "platform/uikit/UIResponder.h"
#include "platform/uikit/UITouch.h"

namespace platform {

enum class UIEventType { Touches = 0, Motion = 1 };

// Something that happened to the device: fingers that moved, or a shake. An event about touches carries every
// finger that is down, whichever of them moved, in the order in which they touched down.
//
// Made by UITouchInput, or by another toolkit as a subclass. Main thread only.
class PLATFORM_EXPORT UIEvent : public NSObject {
  NS_OBJECT(UIEvent, NSObject)

 public:
  using Touches = std::vector<std::shared_ptr<UITouch>>;

  explicit UIEvent(UIEventType type = UIEventType::Touches, UIEventSubtype subtype = UIEventSubtype::None)
      : type_(type), subtype_(subtype) {}

  // Lists the selectors "allTouches", "type", "subtype".
  static void describe(ClassBuilder<UIEvent>& c);

  virtual UIEventType type() const { return type_; }
  virtual UIEventSubtype subtype() const { return subtype_; }
  virtual const Touches& allTouches() const { return touches_; }
  Touches touchesForWindow(const UIWindow& window) const;

  // For those who make events.
  void addTouch(std::shared_ptr<UITouch> touch) { touches_.push_back(std::move(touch)); }

 private:
  UIEventType type_;
  UIEventSubtype subtype_;
  Touches touches_;
};

}  // namespace platform
