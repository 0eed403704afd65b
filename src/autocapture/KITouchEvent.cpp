#include "src/autocapture/KITouchEvent.h"

#include <Kova/KovaConstants.h>

#include "platform/runtime/Retained.h"
#include "platform/uikit/UIControl.h"
#include "platform/uikit/UITouch.h"
#include "src/autocapture/UIResponder+KovaIgnore.h"
#include "src/core/NSObject+ClassOf.h"
#include "src/pageviews/PageviewInfo.h"
#include "src/pageviews/UIResponder+ActivePageview.h"

using namespace platform;

namespace {

constexpr const char* kKind = "touchEvent";
constexpr std::string_view kKeyboardClass = "UIKeyboardLayoutStar";
constexpr std::size_t kMostEntries = 8;

// A view that is in the middle of being destroyed has no owner any more, and is left alone.
std::shared_ptr<UIView> visibleView(const std::shared_ptr<UIView>& view) KOVA_ON_MAIN_THREAD {
  if (!view) return nullptr;
  auto visible = retained(&KOVA_closestViewVisibleInHierarchy(*view));
  return visible ? visible : view;
}

bool isKeyboard(const std::shared_ptr<UIView>& view) { return view && view->isa().name() == kKeyboardClass; }

std::shared_ptr<KIViewAncestry> ancestryOf(const std::shared_ptr<UIView>& view,
                                           const KICaptureContext& context) KOVA_ON_MAIN_THREAD {
  if (!view) return std::make_shared<KIViewAncestry>(Array());
  return KIViewAncestry::captureFromView(*view, context, KIViewAncestry::BoundingBoxes::Omit);
}

// The text under the key. An app that overrides it may answer with a value of another kind, whose description
// counts; null is no text.
std::optional<String> textOf(const Dictionary& entries, std::string_view key) {
  const Value* value = entries.find(key);
  if (!value || value->isNull()) return std::nullopt;
  return value->isString() ? value->string() : String(value->description());
}

bool redactsOwnLabel(const UIView& view) KOVA_ON_MAIN_THREAD {
  return KOVA_ownLabelRules(view) & kKovaIgnoreRuleRedactAccessibilityLabel;
}

void addLine(std::string& lines, std::string_view label, const std::optional<String>& value) {
  if (value) ((lines += "\n   ") += label) += value->view();
}

}  // namespace

std::optional<kova::TouchTarget> KITouchEvent::targetOf(const kova::SeenTouch& seen, unsigned ignoreRules,
                                                        const KICaptureContext& context) {
  if (ignoreRules & kKovaIgnoreRuleIgnore) return std::nullopt;
  auto view = visibleView(seen.view);
  const std::string_view className = view ? std::string_view(KOVA_classOf(*view).name()) : "UIView";
  // The target is another view where one around the keyboard hides its inner hierarchy.
  const bool isOnKeyboard = className == kKeyboardClass || isKeyboard(seen.view);
  if (isOnKeyboard && seen.eventType.view() == KovaTouchEventTypeTouch) return std::nullopt;

  auto control = view ? retained(kova::closestControl(*view)) : nullptr;
  auto ancestry = seen.viewAncestry == ViewAncestry::Capture ? ancestryOf(view, context) : nullptr;
  auto overrides = context.overriddenTouchEventPropertiesForEventType(seen.eventType, view.get(),
                                                                      seen.touch.get(), control.get());
  return kova::TouchTarget{.eventType = seen.eventType,
                           .view = std::move(view),
                           .touch = seen.touch,
                           .closestControl = std::move(control),
                           .viewClassName = className,
                           .selector = seen.selector,
                           .ancestry = std::move(ancestry),
                           .overrides = std::move(overrides).value_or(Dictionary()),
                           .ignoreRules = ignoreRules};
}

std::shared_ptr<KITouchEvent> KITouchEvent::create(kova::TouchTarget target, int appVisibilityState,
                                                   const KICaptureContext& context) {
  const auto event = std::make_shared<KITouchEvent>(std::move(target), appVisibilityState, context);
  if (event->view_) {
    event->setPageviewInfo(KOVA_scopedPageviewInfoWithCurrentSessionId(*event->view_, context.sessionId()));
  }
  return event;
}

std::shared_ptr<KITouchEvent> KITouchEvent::create(const String& eventType,
                                                   const std::shared_ptr<UIView>& view,
                                                   std::shared_ptr<UITouch> touch,
                                                   const std::optional<String>& selector,
                                                   ViewAncestry viewAncestry, int appVisibilityState,
                                                   unsigned ignoreRules, const KICaptureContext& context) {
  auto target = targetOf({eventType, view, std::move(touch), selector, viewAncestry}, ignoreRules, context);
  return target ? create(std::move(*target), appVisibilityState, context) : nullptr;
}

// The app is asked in the order of the fields that are sent.
KITouchEvent::KITouchEvent(kova::TouchTarget target, int appVisibilityState, const KICaptureContext& context)
    : KIEvent(kKind, appVisibilityState),
      eventType_(std::move(target.eventType)),
      targetViewClassName_(textOf(target.overrides, KovaTouchEventPropertyTargetClass)
                               .value_or(std::move(target.viewClassName))),
      viewAncestry_(std::move(target.ancestry)),
      omitTargetText_(context.isTextCaptureDisabled()),
      omitTargetAccessibilityLabel_(context.isAccessibilityLabelCaptureDisabled()),
      redactText_((target.ignoreRules & kKovaIgnoreRuleRedactText) != 0),
      redactAccessibilityLabel_((target.ignoreRules & kKovaIgnoreRuleRedactAccessibilityLabel) != 0),
      view_(std::move(target.view)),
      touch_(std::move(target.touch)),
      closestControl_(std::move(target.closestControl)) {
  const Dictionary& overrides = target.overrides;
  const bool omitTargetIvar = context.isIvarCaptureDisabled();
  if (!omitTargetText_) {
    targetText_ = textOf(overrides, KovaTouchEventPropertyTargetText);
    if (!targetText_) targetText_ = view_ ? kova::getText(*view_, redactText_) : String();
    targetTextIsRedacted_ = redactText_;
  }
  if (!omitTargetAccessibilityLabel_) chooseAccessibilityLabel(overrides);
  chooseAccessibilityIdentifier(overrides);
  if (!omitTargetIvar) {
    const UIView* held = closestControl_ ? closestControl_.get() : view_.get();
    targetIvar_ = textOf(overrides, KovaTouchEventPropertyTargetVariable);
    if (!targetIvar_ && held) targetIvar_ = kova::propertyName(*held);
  }
  targetSelector_ = textOf(overrides, KovaTouchEventPropertyTargetSelector);
  if (!targetSelector_) targetSelector_ = std::move(target.selector);
}

KITouchEvent::~KITouchEvent() = default;

void KITouchEvent::chooseAccessibilityLabel(const Dictionary& overrides) {
  auto& label = targetAccessibilityLabel_;
  label = textOf(overrides, KovaTouchEventPropertyTargetAccessibilityLabel);
  redactAccessibilityLabel_ |= view_ && redactsOwnLabel(*view_);
  if (!label && view_) label = view_->accessibilityLabel();
  if (!label && closestControl_) {
    label = closestControl_->accessibilityLabel();
    redactAccessibilityLabel_ |= redactsOwnLabel(*closestControl_);
  }
}

void KITouchEvent::chooseAccessibilityIdentifier(const Dictionary& overrides) {
  auto& identifier = targetAccessibilityIdentifier_;
  identifier = textOf(overrides, KovaTouchEventPropertyTargetAccessibilityIdentifier);
  if (!identifier && view_) identifier = view_->accessibilityIdentifier();
  if (!identifier && closestControl_) identifier = closestControl_->accessibilityIdentifier();
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
  add(KovaTouchEventPropertyTargetVariable, targetIvar_);
  add(KovaTouchEventPropertyTargetSelector, kova::trimSelector(targetSelector_));
  if (viewAncestry_) {
    event.append(KovaTouchEventPropertyViewAncestry, viewAncestry_->transmittableDictionary());
  }
  return event;
}

std::string KITouchEvent::description() const {
  std::string lines = "   Event Type                              : " + eventType_.str();
  addLine(lines, "Action Method                           : ", targetSelector_);
  addLine(lines, "Target View Name                        : ", targetIvar_);
  if (targetText_ && !omitTargetText_) {
    addLine(lines, "Target Text                             : ", sanitizedTargetText());
  }
  addLine(lines, "Target View Class                       : ", targetViewClassName_);
  addLine(lines, "Target View accessibilityIdentifier     : ", targetAccessibilityIdentifier_);
  addLine(lines, "Target View accessibilityLabel          : ", sanitizedTargetAccessibilityLabel());
  if (pageviewInfo()) lines += kova::descriptionOfPageviewInfo(*pageviewInfo());
  if (viewAncestry_)
    ((lines += "\n   View Ancestry                           :\n") += viewAncestry_->description());
  return lines;
}
