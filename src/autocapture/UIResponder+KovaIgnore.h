#pragma once

#include <Kova/KovaIgnore.h>

#include <memory>
#include <string>
#include <string_view>

#include "src/core/Threads.h"

namespace platform {
class UIResponder;
class UIView;
}  // namespace platform

// The rules behind the public flags, as a set of bits that a responder keeps, and how they combine along the
// responder chain.

inline constexpr unsigned kKovaIgnoreRuleIgnore = 1;
inline constexpr unsigned kKovaIgnoreRuleRedactText = 2;
inline constexpr unsigned kKovaIgnoreRuleRedactAccessibilityLabel = 4;
inline constexpr unsigned kKovaIgnoreRuleIgnoreInnerHierarchy = 8;
// Used only where the class hides its inner views by default.
inline constexpr unsigned kKovaIgnoreRuleDoNotIgnoreInnerHierarchy = 16;

// Whether any responder of this process has ever had a rule. While none has, no walk is made and every rule
// is 0.
bool KOVA_shouldCheckIgnore() KOVA_ON_MAIN_THREAD;
void KOVA_setShouldCheckIgnore(bool shouldCheck) KOVA_ON_MAIN_THREAD;

unsigned KOVA_ignoreRules(const platform::UIResponder& responder) KOVA_ON_MAIN_THREAD;
void KOVA_setIgnoreRules(platform::UIResponder& responder, unsigned rules) KOVA_ON_MAIN_THREAD;
void KOVA_toggleIgnoreRules(platform::UIResponder& responder, unsigned rules,
                            bool include) KOVA_ON_MAIN_THREAD;
// Whether every one of the asked bits is set.
bool KOVA_hasAllIgnoreRules(const platform::UIResponder& responder, unsigned rules) KOVA_ON_MAIN_THREAD;

// The bits of the responder and of those after it in the chain, up to and including the first at which all
// bits of `mask` are present: that one is the stopping source, which is null when the chain ends before. A
// null responder has none; a null `stoppingSource` is not written to.
unsigned KOVA_findCombinedIgnoreRules(platform::UIResponder* responder, unsigned mask,
                                      platform::UIResponder** stoppingSource = nullptr) KOVA_ON_MAIN_THREAD;

// The bits of the label that a button or a cell draws itself and that is none of its subviews; 0 for any
// other responder. Of them, those that redact hold for the button's or the cell's own text and accessibility
// label.
unsigned KOVA_ownLabelRules(const platform::UIResponder& responder) KOVA_ON_MAIN_THREAD;

// The rules for an interaction with a view and with a second one; either may be null. When the first is
// ignored the second is not looked at. Explains itself in the debug log when either is.
unsigned KOVA_touchEventIgnoreRules(platform::UIView* view1, platform::UIView* view2) KOVA_ON_MAIN_THREAD;

// What an ignored responder is known by, for the debug log: one line a fact, each beginning with the prefix.
std::string KOVA_ignoreDescription(platform::UIResponder& responder, std::string_view linePrefix,
                                   std::string_view extraSpace) KOVA_ON_MAIN_THREAD;
// Says why the receiver is ignored; `source` is the receiver or a responder after it.
void KOVA_logIgnoreWithSource(platform::UIResponder& receiver,
                              platform::UIResponder& source) KOVA_ON_MAIN_THREAD;

// Whether no view around this one hides its inner hierarchy.
bool KOVA_isVisibleInHierarchy(const platform::UIView& view) KOVA_ON_MAIN_THREAD;
// The outermost view around this one that hides its inner hierarchy, or the view itself.
platform::UIView& KOVA_closestViewVisibleInHierarchy(platform::UIView& view) KOVA_ON_MAIN_THREAD;
