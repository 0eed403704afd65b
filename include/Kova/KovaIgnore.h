#pragma once

#include "Kova/KovaExport.h"

namespace platform {
class Class;
class UIResponder;
}  // namespace platform

// How an app keeps a part of itself out of what is captured: four flags that any responder (a view, a view
// controller, a window) may carry. They hold for the responder and for everything below it, live as long as
// the responder, and are off unless set. The two that redact also hold on the label that a button or a cell
// draws itself, its titleLabel or textLabel.
//
//   setKovaRedactText(*balanceLabel, true);
//   setKovaIgnore(*pinController, true);
//
// Main thread only. An app that sets none pays nothing for them.

// Interactions are not captured at all. A touch on what lies around may tell the text that is here, unless
// that is redacted, too.
KOVA_EXPORT bool kovaIgnore(const platform::UIResponder& responder);
KOVA_EXPORT void setKovaIgnore(platform::UIResponder& responder, bool ignore);

// Text is captured as "****".
KOVA_EXPORT bool kovaRedactText(const platform::UIResponder& responder);
KOVA_EXPORT void setKovaRedactText(platform::UIResponder& responder, bool redact);

// Accessibility labels are captured as "****".
KOVA_EXPORT bool kovaRedactAccessibilityLabel(const platform::UIResponder& responder);
KOVA_EXPORT void setKovaRedactAccessibilityLabel(platform::UIResponder& responder, bool redact);

// Interactions with views inside this one are taken for interactions with this one.
KOVA_EXPORT bool kovaIgnoreInnerHierarchy(const platform::UIResponder& responder);
KOVA_EXPORT void setKovaIgnoreInnerHierarchy(platform::UIResponder& responder, bool ignore);

// What kovaIgnoreInnerHierarchy answers for responders of a class, and of the classes below it that are given
// no answer of their own, until it is set on one of them. No unless set:
//
//   setKovaIgnoreInnerHierarchyDefault(MapView::classObject(), true);
//
// A class that is no responder is left as it is.
KOVA_EXPORT bool kovaIgnoreInnerHierarchyDefault(const platform::UIResponder& responder);
KOVA_EXPORT void setKovaIgnoreInnerHierarchyDefault(platform::Class& responderClass, bool ignore);
