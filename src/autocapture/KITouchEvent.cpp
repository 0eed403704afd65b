#include "src/autocapture/KITouchEvent.h"

#include <Kova/KovaConstants.h>

#include "platform/runtime/Retained.h"
#include "platform/uikit/UIControl.h"
#include "platform/uikit/UITouch.h"
#include "src/autocapture/KICaptureContext.h"
#include "src/autocapture/UIResponder+KovaIgnore.h"
#include "src/core/KovaUtil.h"
#include "src/core/NSObject+ClassOf.h"
#include "src/pageviews/UIResponder+ActivePageview.h"

using namespace platform;

namespace {

constexpr const char* kKind = "touchEvent";
constexpr std::string_view kKeyboardClass = "UIKeyboardLayoutStar";
constexpr std::size_t kMostEntries = 8;

// A view that is in the middle of being destroyed has no owner any more, and is left alone.
std::shared_ptr<UIView> visibleView(const std::shared_ptr<UIView>& view) {
  if (!view) return nullptr;
  auto visible = retained(&KOVA_closestViewVisibleInHierarchy(*view));
  return visible ? visible : view;
}

std::shared_ptr<KIViewAncestry> ancestryOf(const std::shared_ptr<UIView>& view,
                                           const KICaptureContext& context) {
  if (!view) return std::make_shared<KIViewAncestry>(Array());
  return KIViewAncestry::captureFromView(*view, context, KIViewAncestry::BoundingBoxes::Omit);
}

// The text under the key. An app that overrides it may put a value of any other kind there, which counts as
// its description; null is none.
std::optional<String> textOf(const Dictionary& entries, std::string_view key) {
  const Value* value = entries.find(key);
  if (!value || value->isNull()) return std::nullopt;
  return value->isString() ? value->string() : String(value->description());
}

bool redactsOwnLabel(const UIView& view) {
  return KOVA_ownLabelRules(view) & kKovaIgnoreRuleRedactAccessibilityLabel;
}

void addLine(std::string& lines, std::string_view label, const std::optional<String>& value) {
  if (value) ((lines += "\n   ") += label) += value->view();
}

}  // namespace

KITouchEvent::KITouchEvent(const String& eventType, int appVisibilityState)
    : KIEvent(kKind, appVisibilityState), eventType_(eventType) {}

KITouchEvent::~KITouchEvent() = default;

std::shared_ptr<KITouchEvent> KITouchEvent::create(const String& eventType,
                                                   const std::shared_ptr<UIView>& view,
                                                   std::shared_ptr<UITouch> touch,
                                                   const std::optional<String>& selector,
                                                   ViewAncestry viewAncestry, int appVisibilityState,
                                                   unsigned ignoreRules, const KICaptureContext& context) {
  if (ignoreRules & kKovaIgnoreRuleIgnore) return nullptr;
  auto target = visibleView(view);
  const std::string_view className = target ? std::string_view(KOVA_classOf(*target).name()) : "UIView";
  if (eventType.view() == KovaTouchEventTypeTouch && className == kKeyboardClass) return nullptr;

  auto control = target ? retained(KovaUtil::closestControl(*target)) : nullptr;
  auto ancestry = viewAncestry == ViewAncestry::Capture ? ancestryOf(target, context) : nullptr;
  const auto overrides =
      context.overriddenTouchEventPropertiesForEventType(eventType, target.get(), touch.get(), control.get());

  const auto event = std::make_shared<KITouchEvent>(eventType, appVisibilityState);
  event->redactText_ = (ignoreRules & kKovaIgnoreRuleRedactText) != 0;
  event->redactAccessibilityLabel_ = (ignoreRules & kKovaIgnoreRuleRedactAccessibilityLabel) != 0;
  event->targetViewClassName_ = className;
  event->viewAncestry_ = std::move(ancestry);
  event->view_ = std::move(target);
  event->touch_ = std::move(touch);
  event->closestControl_ = std::move(control);
  event->chooseTargetFields(overrides.value_or(Dictionary()), selector, context);
  if (event->view_) {
    event->setPageviewInfo(KOVA_scopedPageviewInfoWithCurrentSessionId(*event->view_, context.sessionId()));
  }
  return event;
}

// Each is what the app says, else what the view tells, else what its control tells.
void KITouchEvent::chooseTargetFields(const Dictionary& overrides, const std::optional<String>& selector,
                                      const KICaptureContext& context) {
  omitTargetText_ = context.isTextCaptureDisabled();
  omitTargetAccessibilityLabel_ = context.isAccessibilityLabelCaptureDisabled();
  omitTargetIvar_ = context.isIvarCaptureDisabled();

  if (auto name = textOf(overrides, KovaTouchEventPropertyTargetClass)) {
    targetViewClassName_ = *std::move(name);
  }
  if (!omitTargetText_) {
    targetText_ = textOf(overrides, KovaTouchEventPropertyTargetText);
    if (!targetText_) targetText_ = view_ ? KovaUtil::getText(*view_, redactText_) : String();
    targetTextIsRedacted_ = redactText_;
  }
  if (!omitTargetAccessibilityLabel_) {
    auto& label = targetAccessibilityLabel_;
    label = textOf(overrides, KovaTouchEventPropertyTargetAccessibilityLabel);
    redactAccessibilityLabel_ |= view_ && redactsOwnLabel(*view_);
    if (!label && view_) label = view_->accessibilityLabel();
    if (!label && closestControl_) {
      label = closestControl_->accessibilityLabel();
      redactAccessibilityLabel_ |= redactsOwnLabel(*closestControl_);
    }
  }
  auto& identifier = targetAccessibilityIdentifier_;
  identifier = textOf(overrides, KovaTouchEventPropertyTargetAccessibilityIdentifier);
  if (!identifier && view_) identifier = view_->accessibilityIdentifier();
  if (!identifier && closestControl_) identifier = closestControl_->accessibilityIdentifier();
  if (!omitTargetIvar_) {
    const UIView* held = closestControl_ ? closestControl_.get() : view_.get();
    targetIvar_ = textOf(overrides, KovaTouchEventPropertyTargetVariable);
    if (!targetIvar_ && held) targetIvar_ = KovaUtil::propertyName(*held);
  }
  targetSelector_ = textOf(overrides, KovaTouchEventPropertyTargetSelector);
  if (!targetSelector_) targetSelector_ = selector;
}

void KITouchEvent::setTargetText(std::optional<String> text, bool redacted) {
  targetText_ = std::move(text);
  targetTextIsRedacted_ = redacted;
}

String KITouchEvent::sanitizedTargetText() const {
  if (omitTargetText_ || !targetText_ || targetText_->empty()) return String();
  if (!redactText_ || targetTextIsRedacted_) return *targetText_;
  return KovaRedactedTextSubstitution;
}

std::optional<String> KITouchEvent::sanitizedTargetAccessibilityLabel() const {
  if (omitTargetAccessibilityLabel_) return std::nullopt;
  if (redactAccessibilityLabel_ && targetAccessibilityLabel_ && !targetAccessibilityLabel_->empty()) {
    return KovaRedactedTextSubstitution;
  }
  return targetAccessibilityLabel_;
}

void KITouchEvent::releaseViews() {
  view_.reset();
  touch_.reset();
  closestControl_.reset();
}

MutableDictionary KITouchEvent::mutableEventDictionary() const {
  MutableDictionary event = KIEvent::mutableEventDictionary();
  event.reserve(kMostEntries);
  const auto add = [&event](std::string_view key, const std::optional<String>& value) {
    if (value) event.append(key, *value);
  };
  event.append(KovaTouchEventPropertyTargetClass, targetViewClassName_);
  event.append(KovaTouchEventPropertyEventType, eventType_);
  event.append(KovaTouchEventPropertyTargetText, sanitizedTargetText());
  add(KovaTouchEventPropertyTargetAccessibilityLabel, sanitizedTargetAccessibilityLabel());
  add(KovaTouchEventPropertyTargetAccessibilityIdentifier, targetAccessibilityIdentifier_);
  if (!omitTargetIvar_) add(KovaTouchEventPropertyTargetVariable, targetIvar_);
  add(KovaTouchEventPropertyTargetSelector, KovaUtil::trimSelector(targetSelector_));
  if (viewAncestry_) {
    event.append(KovaTouchEventPropertyViewAncestry, viewAncestry_->transmittableDictionary());
  }
  return event;
}

std::string KITouchEvent::description() const {
  std::string lines = "   Event Type                              : " + eventType_.str();
  addLine(lines, "Action Method                           : ", targetSelector_);
  if (!omitTargetIvar_) addLine(lines, "Target View Name                        : ", targetIvar_);
  if (targetText_ && !omitTargetText_) {
    addLine(lines, "Target Text                             : ", sanitizedTargetText());
  }
  addLine(lines, "Target View Class                       : ", targetViewClassName_);
  addLine(lines, "Target View accessibilityIdentifier     : ", targetAccessibilityIdentifier_);
  addLine(lines, "Target View accessibilityLabel          : ", sanitizedTargetAccessibilityLabel());
  const auto addControllerLine = [&](std::string_view label, std::string_view key) {
    if (!pageviewInfo()) return;
    const auto value = textOf(*pageviewInfo(), key);
    if (value && !value->empty()) addLine(lines, label, value);
  };
  addControllerLine("View controller                         : ", KovaPageviewPropertyViewController);
  addControllerLine("View controller title                   : ", KovaPageviewPropertyTitle);
  addControllerLine("View controller accessibilityIdentifier : ",
                    KovaPageviewPropertyAccessibilityIdentifier);
  addControllerLine("View controller accessibilityLabel      : ", KovaPageviewPropertyAccessibilityLabel);
  if (viewAncestry_)
    ((lines += "\n   View Ancestry                           :\n") += viewAncestry_->description());
  return lines;
}
