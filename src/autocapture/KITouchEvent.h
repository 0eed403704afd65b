#pragma once

#include <memory>
#include <optional>
#include <string>

#include "platform/foundation/String.h"
#include "platform/foundation/Value.h"
#include "src/autocapture/KICaptureContext.h"
#include "src/autocapture/KIViewAncestry.h"
#include "src/autocapture/TouchTarget.h"
#include "src/events/KIEvent.h"

// One interaction: a touch that began on a view, a gesture that ended, or a text field whose editing ended.
//
// Life cycle: made on the main thread, where it may wait in the touch event cache and be enriched by actions;
// turned into a message on the mutation queue, and not touched again. It holds the view, the touch and the
// control until it leaves the main thread.
class KITouchEvent : public KIEvent {
  NS_OBJECT(KITouchEvent, KIEvent)

 public:
  using ViewAncestry = KICaptureContext::ViewAncestry;

  // None when there must be no event: the view is ignored, or the touch is on the system's keyboard.
  // `ignoreRules` are those in force for the view (UIResponder+KovaIgnore.h).
  static std::optional<kova::TouchTarget> targetOf(const kova::SeenTouch& seen, unsigned ignoreRules,
                                                   const KICaptureContext& context) KOVA_ON_MAIN_THREAD;
  static std::shared_ptr<KITouchEvent> create(kova::TouchTarget target, int appVisibilityState,
                                              const KICaptureContext& context) KOVA_ON_MAIN_THREAD;
  // Both in one; null when there must be no event.
  static std::shared_ptr<KITouchEvent> create(const platform::String& eventType,
                                              const std::shared_ptr<platform::UIView>& view,
                                              std::shared_ptr<platform::UITouch> touch,
                                              const std::optional<platform::String>& selector,
                                              ViewAncestry viewAncestry, int appVisibilityState,
                                              unsigned ignoreRules,
                                              const KICaptureContext& context) KOVA_ON_MAIN_THREAD;

  KITouchEvent(kova::TouchTarget target, int appVisibilityState,
               const KICaptureContext& context) KOVA_ON_MAIN_THREAD;
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
  // The target's view, which hides its inner hierarchy or is the one that was touched.
  const std::shared_ptr<platform::UIView>& view() const { return view_; }
  const std::shared_ptr<platform::UITouch>& touch() const { return touch_; }
  const std::shared_ptr<platform::UIControl>& closestControl() const { return closestControl_; }
  // Lets go of these three, before the event goes to the mutation queue: what is on the screen may die on the
  // main thread only.
  void releaseViews() KOVA_ON_MAIN_THREAD;

 private:
  // What the app says, else what the view tells, else what its control tells.
  void chooseAccessibilityLabel(const platform::Dictionary& overrides) KOVA_ON_MAIN_THREAD;
  void chooseAccessibilityIdentifier(const platform::Dictionary& overrides) KOVA_ON_MAIN_THREAD;

  const platform::String eventType_;
  const platform::String targetViewClassName_;
  const std::shared_ptr<KIViewAncestry> viewAncestry_;
  const bool omitTargetText_;
  const bool omitTargetAccessibilityLabel_;
  const bool redactText_;
  bool redactAccessibilityLabel_;
  bool targetTextIsRedacted_ = false;
  std::shared_ptr<platform::UIView> view_;
  std::shared_ptr<platform::UITouch> touch_;
  std::shared_ptr<platform::UIControl> closestControl_;
  std::optional<platform::String> targetText_;
  std::optional<platform::String> targetAccessibilityLabel_;
  std::optional<platform::String> targetAccessibilityIdentifier_;
  std::optional<platform::String> targetIvar_;
  std::optional<platform::String> targetSelector_;
};
