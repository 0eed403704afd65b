#pragma once

#include <memory>
#include <optional>
#include <string>

#include "platform/foundation/String.h"
#include "platform/foundation/Value.h"
#include "src/autocapture/KIViewAncestry.h"
#include "src/events/KIEvent.h"

class KICaptureContext;
namespace platform {
class UIControl;
class UITouch;
class UIView;
}  // namespace platform

// One interaction: a touch that began on a view, a gesture that ended, or a text field whose editing ended.
//
// Life cycle: made on the main thread, where it may wait in the touch event cache and be enriched by actions;
// turned into a message on the mutation queue, and not touched again. It holds the view, the touch and the
// control until it leaves the main thread.
class KITouchEvent : public KIEvent {
  NS_OBJECT(KITouchEvent, KIEvent)

 public:
  enum class ViewAncestry { Omit, Capture };

  // Null when the event must not exist: the view is ignored, or the touch is on the system's keyboard.
  // `ignoreRules` are those in force for the view (UIResponder+KovaIgnore.h). The touch may be null.
  static std::shared_ptr<KITouchEvent> create(const platform::String& eventType,
                                              const std::shared_ptr<platform::UIView>& view,
                                              std::shared_ptr<platform::UITouch> touch,
                                              const std::optional<platform::String>& selector,
                                              ViewAncestry viewAncestry, int appVisibilityState,
                                              unsigned ignoreRules, const KICaptureContext& context);

  // `create`'s own; `eventType` is "touch", "fieldedit" or the class name of a gesture recogniser.
  KITouchEvent(const platform::String& eventType, int appVisibilityState);
  ~KITouchEvent() override;

  platform::MutableDictionary mutableEventDictionary() const override;
  // For the debug log.
  std::string description() const override;

  const platform::String& eventType() const { return eventType_; }
  const platform::String& targetViewClassName() const { return targetViewClassName_; }
  const std::optional<platform::String>& targetText() const { return targetText_; }
  // Whether the text was made with redaction in force, and holds "****" already.
  bool targetTextIsRedacted() const { return targetTextIsRedacted_; }
  // Text that is not redacted yet, unless said otherwise.
  void setTargetText(std::optional<platform::String> text) { setTargetText(std::move(text), false); }
  void setTargetText(std::optional<platform::String> text, bool redacted);
  // What is sent: nothing of what is omitted or redacted.
  platform::String sanitizedTargetText() const;
  std::optional<platform::String> sanitizedTargetAccessibilityLabel() const;

  const std::optional<platform::String>& targetAccessibilityLabel() const {
    return targetAccessibilityLabel_;
  }
  void setTargetAccessibilityLabel(std::optional<platform::String> label) {
    targetAccessibilityLabel_ = std::move(label);
  }
  const std::optional<platform::String>& targetAccessibilityIdentifier() const {
    return targetAccessibilityIdentifier_;
  }
  void setTargetAccessibilityIdentifier(std::optional<platform::String> identifier) {
    targetAccessibilityIdentifier_ = std::move(identifier);
  }
  const std::optional<platform::String>& targetIvar() const { return targetIvar_; }
  const std::optional<platform::String>& targetSelector() const { return targetSelector_; }
  void setTargetSelector(std::optional<platform::String> selector) { targetSelector_ = std::move(selector); }

  const std::shared_ptr<KIViewAncestry>& viewAncestry() const { return viewAncestry_; }
  // The target: the view, or the outermost view around it that hides its inner hierarchy.
  const std::shared_ptr<platform::UIView>& view() const { return view_; }
  const std::shared_ptr<platform::UITouch>& touch() const { return touch_; }
  const std::shared_ptr<platform::UIControl>& closestControl() const { return closestControl_; }
  // Lets go of these three, before the event goes to the mutation queue: what is on the screen may die on the
  // main thread only.
  void releaseViews();

 private:
  void chooseTargetFields(const platform::Dictionary& overrides,
                          const std::optional<platform::String>& selector, const KICaptureContext& context);

  const platform::String eventType_;
  platform::String targetViewClassName_;
  std::optional<platform::String> targetText_;
  std::optional<platform::String> targetAccessibilityLabel_;
  std::optional<platform::String> targetAccessibilityIdentifier_;
  std::optional<platform::String> targetIvar_;
  std::optional<platform::String> targetSelector_;
  std::shared_ptr<KIViewAncestry> viewAncestry_;
  std::shared_ptr<platform::UIView> view_;
  std::shared_ptr<platform::UITouch> touch_;
  std::shared_ptr<platform::UIControl> closestControl_;
  bool targetTextIsRedacted_ = false;
  bool omitTargetText_ = false;
  bool omitTargetAccessibilityLabel_ = false;
  bool omitTargetIvar_ = false;
  bool redactText_ = false;
  bool redactAccessibilityLabel_ = false;
};
