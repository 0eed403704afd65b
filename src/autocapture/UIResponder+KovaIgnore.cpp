#include "src/autocapture/UIResponder+KovaIgnore.h"

#include "platform/runtime/AddedMethod.h"
#include "platform/runtime/Retained.h"
#include "platform/uikit/UIButton.h"
#include "platform/uikit/UITableViewCell.h"
#include "src/autocapture/TouchTarget.h"
#include "src/core/KIHierarchyLimit.h"
#include "src/core/KovaLogger.h"
#include "src/core/NSObject+TextForKey.h"

using namespace platform;

namespace {

// The bits, kept with their responder.
class KIIgnoreRules : public NSObject {
  NS_OBJECT(KIIgnoreRules, NSObject)

 public:
  explicit KIIgnoreRules(unsigned rules) : rules_(rules) {}
  unsigned rules() const { return rules_; }

 private:
  const unsigned rules_;
};

constexpr char kRulesKey = 0;  // its address is the key

struct IgnoreState {
  bool shouldCheckIgnore = false;
  // Whether any class has been given an answer of its own: until then, and without rules, no view hides its
  // inner hierarchy.
  bool hasClassDefaults = false;
};

constinit IgnoreState state;

template <bool answer>
bool alwaysAnswer(UIResponder&, SEL) {
  return answer;
}

constinit AddedMethod<bool(UIResponder&)> ignoreInnerHierarchyDefaultMethod{
    UIResponder::classObject, "kovaIgnoreInnerHierarchyDefault", alwaysAnswer<false>};

bool mayAnyViewHideItsInnerHierarchy() { return state.shouldCheckIgnore || state.hasClassDefaults; }

}  // namespace

// Hosts do not know the annotations: their header names the thread in words.

bool kovaIgnore(const UIResponder& responder) KOVA_ON_MAIN_THREAD {
  return KOVA_hasAllIgnoreRules(responder, kKovaIgnoreRuleIgnore);
}
void setKovaIgnore(UIResponder& responder, bool ignore) KOVA_ON_MAIN_THREAD {
  KOVA_toggleIgnoreRules(responder, kKovaIgnoreRuleIgnore, ignore);
}

bool kovaRedactText(const UIResponder& responder) KOVA_ON_MAIN_THREAD {
  return KOVA_hasAllIgnoreRules(responder, kKovaIgnoreRuleRedactText);
}
void setKovaRedactText(UIResponder& responder, bool redact) KOVA_ON_MAIN_THREAD {
  KOVA_toggleIgnoreRules(responder, kKovaIgnoreRuleRedactText, redact);
}

bool kovaRedactAccessibilityLabel(const UIResponder& responder) KOVA_ON_MAIN_THREAD {
  return KOVA_hasAllIgnoreRules(responder, kKovaIgnoreRuleRedactAccessibilityLabel);
}
void setKovaRedactAccessibilityLabel(UIResponder& responder, bool redact) KOVA_ON_MAIN_THREAD {
  KOVA_toggleIgnoreRules(responder, kKovaIgnoreRuleRedactAccessibilityLabel, redact);
}

bool kovaIgnoreInnerHierarchy(const UIResponder& responder) KOVA_ON_MAIN_THREAD {
  return kovaIgnoreInnerHierarchyDefault(responder)
             ? !KOVA_hasAllIgnoreRules(responder, kKovaIgnoreRuleDoNotIgnoreInnerHierarchy)
             : KOVA_hasAllIgnoreRules(responder, kKovaIgnoreRuleIgnoreInnerHierarchy);
}
void setKovaIgnoreInnerHierarchy(UIResponder& responder, bool ignore) KOVA_ON_MAIN_THREAD {
  if (kovaIgnoreInnerHierarchyDefault(responder)) {
    KOVA_toggleIgnoreRules(responder, kKovaIgnoreRuleDoNotIgnoreInnerHierarchy, !ignore);
  } else {
    KOVA_toggleIgnoreRules(responder, kKovaIgnoreRuleIgnoreInnerHierarchy, ignore);
  }
}

bool kovaIgnoreInnerHierarchyDefault(const UIResponder& responder) KOVA_ON_MAIN_THREAD {
  if (!state.hasClassDefaults) return false;
  // The answer is the class's: the receiver is only there to pick it by.
  return ignoreInnerHierarchyDefaultMethod.send(const_cast<UIResponder&>(responder));
}
void setKovaIgnoreInnerHierarchyDefault(Class& responderClass, bool ignore) KOVA_ON_MAIN_THREAD {
  const auto answer = ignore ? alwaysAnswer<true> : alwaysAnswer<false>;
  if (ignoreInnerHierarchyDefaultMethod.set(responderClass, answer)) state.hasClassDefaults = true;
}

bool KOVA_shouldCheckIgnore() { return state.shouldCheckIgnore; }

void KOVA_setShouldCheckIgnore(bool shouldCheck) { state.shouldCheckIgnore = shouldCheck; }

unsigned KOVA_ignoreRules(const UIResponder& responder) {
  if (!KOVA_shouldCheckIgnore()) return 0;
  const auto kept = associatedObject(responder, &kRulesKey);
  return kept ? static_cast<const KIIgnoreRules&>(*kept).rules() : 0;
}

void KOVA_setIgnoreRules(UIResponder& responder, unsigned rules) {
  if (rules != 0) KOVA_setShouldCheckIgnore(true);
  setAssociatedObject(responder, &kRulesKey, std::make_shared<KIIgnoreRules>(rules));
}

void KOVA_toggleIgnoreRules(UIResponder& responder, unsigned rules, bool include) {
  const unsigned before = KOVA_ignoreRules(responder);
  KOVA_setIgnoreRules(responder, include ? before | rules : before & ~rules);
}

bool KOVA_hasAllIgnoreRules(const UIResponder& responder, unsigned rules) {
  return (KOVA_ignoreRules(responder) & rules) == rules;
}

unsigned KOVA_findCombinedIgnoreRules(UIResponder* responder, unsigned mask, UIResponder** stoppingSource) {
  if (stoppingSource) *stoppingSource = nullptr;
  if (!KOVA_shouldCheckIgnore()) return 0;
  unsigned combined = 0;
  for (int steps = 0; responder && steps < kHierarchyStepLimit; ++steps) {
    combined |= KOVA_ignoreRules(*responder);
    if ((combined & mask) == mask) {
      if (stoppingSource) *stoppingSource = responder;
      return combined;
    }
    responder = responder->nextResponder();
  }
  return combined;
}

unsigned KOVA_ownLabelRules(const UIResponder& responder) {
  if (!KOVA_shouldCheckIgnore()) return 0;
  std::shared_ptr<UILabel> label;
  if (responder.isKindOfClass(UIButton::classObject())) {
    label = static_cast<const UIButton&>(responder).titleLabel();
  } else if (responder.isKindOfClass(UITableViewCell::classObject())) {
    label = static_cast<const UITableViewCell&>(responder).textLabel();
  }
  return label ? KOVA_ignoreRules(*label) : 0;
}

unsigned KOVA_touchEventIgnoreRules(UIView* view1, UIView* view2) {
  UIResponder* source = nullptr;
  const unsigned rules1 = KOVA_findCombinedIgnoreRules(view1, kKovaIgnoreRuleIgnore, &source);
  if (source) {
    KOVA_logIgnoreWithSource(*view1, *source);
    return rules1;
  }
  const unsigned rules2 = KOVA_findCombinedIgnoreRules(view2, kKovaIgnoreRuleIgnore, &source);
  if (source) KOVA_logIgnoreWithSource(*view2, *source);
  return rules1 | rules2;
}

std::string KOVA_ignoreDescription(UIResponder& responder, std::string_view linePrefix,
                                   std::string_view extraSpace) {
  static const SEL identifierKey("accessibilityIdentifier");
  std::string lines;
  const auto addLine = [&](std::string_view label, std::string_view value) {
    if (!lines.empty()) lines += '\n';
    ((((lines += linePrefix) += label) += extraSpace) += ": ") += value;
  };
  const auto addFact = [&](std::string_view label, std::string_view value) {
    if (!value.empty()) addLine(label, value);
  };
  addLine("Class                    ", responder.isa().name());
  if (auto* view = dynamic_cast<UIView*>(&responder)) {
    addFact("Text                     ", kova::getText(*view, false));
  }
  addFact("Accessibility Identifier ", KOVA_textForKey(responder, identifierKey).value_or(""));
  addFact("Accessibility Label      ", responder.accessibilityLabel().value_or(""));
  return lines;
}

void KOVA_logIgnoreWithSource(UIResponder& receiver, UIResponder& source) {
  if (!KovaLoggingEnabled(kKovaLogLevelDebug)) return;
  if (&receiver == &source) {
    KovaLogDebug("Ignoring view marked with kovaIgnore:\n%@", KOVA_ignoreDescription(receiver, "    ", ""));
    return;
  }
  // Describing one runs code of the app, which may let go of the other.
  const auto keptSource = retained(&source);
  KovaLogDebug("Ignoring view because its ancestor is marked with kovaIgnore:\n%@\n%@",
               KOVA_ignoreDescription(receiver, "    Target ", "          "),
               KOVA_ignoreDescription(source, "    Ignored Ancestor ", ""));
}

bool KOVA_isVisibleInHierarchy(const UIView& view) {
  if (!mayAnyViewHideItsInnerHierarchy()) return true;
  const UIView* around = view.superview();
  for (int steps = 0; around && steps < kHierarchyStepLimit; ++steps) {
    if (kovaIgnoreInnerHierarchy(*around)) return false;
    around = around->superview();
  }
  return true;
}

UIView& KOVA_closestViewVisibleInHierarchy(UIView& view) {
  if (!mayAnyViewHideItsInnerHierarchy()) return view;
  UIView* outermost = &view;
  UIView* around = view.superview();
  for (int steps = 0; around && steps < kHierarchyStepLimit; ++steps) {
    if (kovaIgnoreInnerHierarchy(*around)) outermost = around;
    around = around->superview();
  }
  return *outermost;
}
