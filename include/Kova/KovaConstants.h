#pragma once

#include <string_view>

#include "Kova/KovaExport.h"

// Texts that the library exports for its hosts and for frameworks that wrap it: for each line a
// `const std::string_view`. The values are what goes on the wire and into storage; some differ from their
// names on purpose.
#ifndef KOVA_TEXT
#define KOVA_TEXT(name, text) KOVA_EXPORT extern const std::string_view name;
#endif

KOVA_TEXT(KovaLibraryVersion, "9.0.0")
KOVA_TEXT(KovaTrackerVersion, "3.0")
KOVA_TEXT(KovaPageviewPropertyId, "id")
KOVA_TEXT(KovaPageviewPropertyAccessibilityIdentifier, "screenA11yId")
KOVA_TEXT(KovaPageviewPropertyAccessibilityLabel, "screenA11yLabel")
KOVA_TEXT(KovaPageviewPropertyViewController, "viewController")
KOVA_TEXT(KovaPageviewPropertyTitle, "title")
KOVA_TEXT(KovaPageviewPropertyTimestamp, "timestamp")
KOVA_TEXT(KovaAncestryNodePropertyAccessibilityIdentifier, "accessibilityIdentifier")
KOVA_TEXT(KovaAncestryNodePropertyAccessibilityLabel, "accessibilityLabel")
KOVA_TEXT(KovaAncestryNodePropertyClass, "class")
KOVA_TEXT(KovaAncestryNodePropertyBoundingBox, "boundingBox")
KOVA_TEXT(KovaTouchEventPropertyViewAncestry, "viewAncestry")
KOVA_TEXT(KovaTouchEventPropertyEventType, "type")
KOVA_TEXT(KovaTouchEventPropertyTargetClass, "targetView")
KOVA_TEXT(KovaTouchEventPropertyTargetText, "targetText")
KOVA_TEXT(KovaTouchEventPropertyTargetAccessibilityIdentifier, "targetA11yId")
KOVA_TEXT(KovaTouchEventPropertyTargetAccessibilityLabel, "targetA11yLabel")
KOVA_TEXT(KovaTouchEventPropertyTargetVariable, "targetIvar")
KOVA_TEXT(KovaTouchEventPropertyTargetSelector, "targetSelector")
KOVA_TEXT(KovaTouchEventTypeTouch, "touch")
KOVA_TEXT(KovaTouchEventTypeFieldEdit, "fieldedit")
KOVA_TEXT(KovaRedactedTextSubstitution, "****")
KOVA_TEXT(KovaOpenURLInstructionLaunchEventVisualizer, "launch-ev")
KOVA_TEXT(KovaPersistentPropertyKeyUrlEncodedIdentity, "identity")
KOVA_TEXT(KovaPersistentPropertyKeyUserId, "userId")
KOVA_TEXT(KovaPersistentPropertyKeyEventProperties, "eventProperties")
KOVA_TEXT(KovaPersistentPropertyKeyQueuedUrlStrings, "queuedPageviews")
KOVA_TEXT(KovaPersistentPropertyKeyQueuedEvents, "parts")
KOVA_TEXT(KovaPersistentPropertyKeyQueuedMessageBatches, "queuedMessageBatches")
KOVA_TEXT(TITLE_PATH, "asyncdisplaykit_node.normalAttributedTitle")

#undef KOVA_TEXT

// The version pair of the framework: 1.0, and "@(#)PROGRAM:Kova  PROJECT:Kova-1" with a line break at its
// end.
extern "C" {
KOVA_EXPORT extern const double KovaVersionNumber;
KOVA_EXPORT extern const unsigned char KovaVersionString[];
}
