#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "platform/foundation/String.h"
#include "platform/runtime/NSObject.h"

namespace platform {

class UIEvent;
class UITouch;

enum class UIEventSubtype { None = 0, MotionShake = 1 };

// An object that events can be handed to: views, view controllers, windows, the application.
//
// Responders form a chain, from a view through its controller and its window to the application. A pointer
// that `nextResponder` answers is good until the app changes the tree; who calls the app in between keeps a
// shared pointer.
//
// Owner: a std::shared_ptr, always; whatever refers upwards does so weakly. Threads: main thread only.
class PLATFORM_EXPORT UIResponder : public NSObject {
  NS_OBJECT(UIResponder, NSObject)

 public:
  // A search along the chain, and the handing on of an event, end after so many steps, should a host close
  // its chain to a ring.
  static constexpr int kLongestChain = 2000;

  // The touches are those of one view that have just entered the phase. The default hands on to the next
  // responder.
  using Touches = std::vector<std::shared_ptr<UITouch>>;

  virtual UIResponder* nextResponder() const { return nullptr; }

  virtual void touchesBegan(const Touches& touches, UIEvent* event);
  virtual void touchesMoved(const Touches& touches, UIEvent* event);
  virtual void touchesEnded(const Touches& touches, UIEvent* event);
  virtual void touchesCancelled(const Touches& touches, UIEvent* event);

  // The device was shaken. The default hands on.
  virtual void motionEnded(UIEventSubtype motion, UIEvent* event);

  // At most one responder of the process is the first one: it takes what is typed. Asking for the place makes
  // the one that has it resign; the answer is no when that one or the receiver refuses.
  virtual bool canBecomeFirstResponder() const { return false; }
  virtual bool canResignFirstResponder() const { return true; }
  virtual bool becomeFirstResponder();
  virtual bool resignFirstResponder();
  bool isFirstResponder() const { return firstResponder().get() == this; }
  // Null when no responder is.
  static std::shared_ptr<UIResponder> firstResponder();

  // What is typed while the receiver is first responder. The default ignores it.
  virtual void insertText(const String& /*text*/) {}
  virtual void deleteBackward() {}

  // What assistive technology reads. None unless set; a class may know better.
  virtual std::optional<String> accessibilityLabel() const { return accessibilityLabel_; }
  void setAccessibilityLabel(std::optional<String> label) { accessibilityLabel_ = std::move(label); }
  // The parts of a container that are not views of their own, or views in the order to be read. Building them
  // may be work for the class. None for most.
  virtual std::vector<std::shared_ptr<NSObject>> accessibilityElements() { return {}; }

 protected:
  // Takes the place away from whoever has it, without asking.
  static void clearFirstResponder();

 private:
  std::optional<String> accessibilityLabel_;
};

}  // namespace platform
