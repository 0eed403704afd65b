#pragma once

#include <string_view>

#include "Kova/KovaExport.h"

// Texts that the library exports for its hosts and for frameworks that wrap it: for each line a
// `const std::string_view`. The values are what goes on the wire and into storage; some differ from their
// names on purpose.
#ifndef KOVA_CONSTANT_TEXT_
#define KOVA_CONSTANT_TEXT_(name, text) KOVA_EXPORT extern const std::string_view name;
#endif

KOVA_CONSTANT_TEXT_(KovaLibraryVersion, "9.0.0")
KOVA_CONSTANT_TEXT_(KovaTrackerVersion, "3.0")
KOVA_CONSTANT_TEXT_(KovaPageviewPropertyId, "id")
KOVA_CONSTANT_TEXT_(KovaPageviewPropertyAccessibilityIdentifier, "screenA11yId")
KOVA_CONSTANT_TEXT_(KovaPageviewPropertyAccessibilityLabel, "screenA11yLabel")
KOVA_CONSTANT_TEXT_(KovaPageviewPropertyViewController, "viewController")
KOVA_CONSTANT_TEXT_(KovaPageviewPropertyTitle, "title")
KOVA_CONSTANT_TEXT_(KovaPageviewPropertyTimestamp, "timestamp")
KOVA_CONSTANT_TEXT_(KovaAncestryNodePropertyAccessibilityIdentifier, "accessibilityIdentifier")
KOVA_CONSTANT_TEXT_(KovaAncestryNodePropertyAccessibilityLabel, "accessibilityLabel")
KOVA_CONSTANT_TEXT_(KovaAncestryNodePropertyClass, "class")
KOVA_CONSTANT_TEXT_(KovaAncestryNodePropertyBoundingBox, "boundingBox")
KOVA_CONSTANT_TEXT_(KovaTouchEventPropertyViewAncestry, "viewAncestry")
KOVA_CONSTANT_TEXT_(KovaTouchEventPropertyEventType, "type")
KOVA_CONSTANT_TEXT_(KovaTouchEventPropertyTargetClass, "targetView")
KOVA_CONSTANT_TEXT_(KovaTouchEventPropertyTargetText, "targetText")
KOVA_CONSTANT_TEXT_(KovaTouchEventPropertyTargetAccessibilityIdentifier, "targetA11yId")
KOVA_CONSTANT_TEXT_(KovaTouchEventPropertyTargetAccessibilityLabel, "targetA11yLabel")
KOVA_CONSTANT_TEXT_(KovaTouchEventPropertyTargetVariable, "targetIvar")
KOVA_CONSTANT_TEXT_(KovaTouchEventPropertyTargetSelector, "targetSelector")
KOVA_CONSTANT_TEXT_(KovaTouchEventTypeTouch, "touch")
KOVA_CONSTANT_TEXT_(KovaTouchEventTypeFieldEdit, "fieldedit")
KOVA_CONSTANT_TEXT_(KovaRedactedTextSubstitution, "****")
KOVA_CONSTANT_TEXT_(KovaOpenURLInstructionLaunchEventVisualizer, "launch-ev")
KOVA_CONSTANT_TEXT_(KovaPersistentPropertyKeyUrlEncodedIdentity, "identity")
KOVA_CONSTANT_TEXT_(KovaPersistentPropertyKeyUserId, "userId")
KOVA_CONSTANT_TEXT_(KovaPersistentPropertyKeyEventProperties, "eventProperties")
KOVA_CONSTANT_TEXT_(KovaPersistentPropertyKeyQueuedUrlStrings, "queuedPageviews")
KOVA_CONSTANT_TEXT_(KovaPersistentPropertyKeyQueuedEvents, "parts")
KOVA_CONSTANT_TEXT_(KovaPersistentPropertyKeyQueuedMessageBatches, "queuedMessageBatches")
KOVA_CONSTANT_TEXT_(TITLE_PATH, "asyncdisplaykit_node.normalAttributedTitle")

#undef KOVA_CONSTANT_TEXT_

// The version pair of the framework: 1.0, and "@(#)PROGRAM:Kova  PROJECT:Kova-1" with a line break at its
// end.
extern "C" {
KOVA_EXPORT extern const double KovaVersionNumber;
KOVA_EXPORT extern const unsigned char KovaVersionString[];
}
