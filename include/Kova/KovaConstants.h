#pragma once

#include <string_view>

#include "Kova/KovaExport.h"

// Texts that the library exports for its hosts and for frameworks that wrap it. The values are what goes on
// the wire and into storage; some differ from their names on purpose.

KOVA_EXPORT extern const std::string_view KovaLibraryVersion;                           // "9.0.0"
KOVA_EXPORT extern const std::string_view KovaTrackerVersion;                           // "3.0"
KOVA_EXPORT extern const std::string_view KovaPageviewPropertyId;                       // "id"
KOVA_EXPORT extern const std::string_view KovaPageviewPropertyAccessibilityIdentifier;  // "screenA11yId"
KOVA_EXPORT extern const std::string_view KovaPageviewPropertyAccessibilityLabel;       // "screenA11yLabel"
KOVA_EXPORT extern const std::string_view KovaPageviewPropertyViewController;           // "viewController"
KOVA_EXPORT extern const std::string_view KovaPageviewPropertyTitle;                    // "title"
KOVA_EXPORT extern const std::string_view KovaPageviewPropertyTimestamp;                // "timestamp"
KOVA_EXPORT extern const std::string_view
    KovaAncestryNodePropertyAccessibilityIdentifier;  // "accessibilityIdentifier"
KOVA_EXPORT extern const std::string_view KovaAncestryNodePropertyAccessibilityLabel;  // "accessibilityLabel"
KOVA_EXPORT extern const std::string_view KovaAncestryNodePropertyClass;               // "class"
KOVA_EXPORT extern const std::string_view KovaAncestryNodePropertyBoundingBox;         // "boundingBox"
KOVA_EXPORT extern const std::string_view KovaTouchEventPropertyViewAncestry;          // "viewAncestry"
KOVA_EXPORT extern const std::string_view KovaTouchEventPropertyEventType;             // "type"
KOVA_EXPORT extern const std::string_view KovaTouchEventPropertyTargetClass;           // "targetView"
KOVA_EXPORT extern const std::string_view KovaTouchEventPropertyTargetText;            // "targetText"
KOVA_EXPORT extern const std::string_view
    KovaTouchEventPropertyTargetAccessibilityIdentifier;  // "targetA11yId"
KOVA_EXPORT extern const std::string_view
    KovaTouchEventPropertyTargetAccessibilityLabel;                                     // "targetA11yLabel"
KOVA_EXPORT extern const std::string_view KovaTouchEventPropertyTargetVariable;         // "targetIvar"
KOVA_EXPORT extern const std::string_view KovaTouchEventPropertyTargetSelector;         // "targetSelector"
KOVA_EXPORT extern const std::string_view KovaTouchEventTypeTouch;                      // "touch"
KOVA_EXPORT extern const std::string_view KovaTouchEventTypeFieldEdit;                  // "fieldedit"
KOVA_EXPORT extern const std::string_view KovaRedactedTextSubstitution;                 // "****"
KOVA_EXPORT extern const std::string_view KovaOpenURLInstructionLaunchEventVisualizer;  // "launch-ev"
KOVA_EXPORT extern const std::string_view KovaPersistentPropertyKeyUrlEncodedIdentity;  // "identity"
KOVA_EXPORT extern const std::string_view KovaPersistentPropertyKeyUserId;              // "userId"
KOVA_EXPORT extern const std::string_view KovaPersistentPropertyKeyEventProperties;     // "eventProperties"
KOVA_EXPORT extern const std::string_view KovaPersistentPropertyKeyQueuedUrlStrings;    // "queuedPageviews"
KOVA_EXPORT extern const std::string_view KovaPersistentPropertyKeyQueuedEvents;        // "parts"
KOVA_EXPORT extern const std::string_view
    KovaPersistentPropertyKeyQueuedMessageBatches;     // "queuedMessageBatches"
KOVA_EXPORT extern const std::string_view TITLE_PATH;  // "asyncdisplaykit_node.normalAttributedTitle"

// The version pair of the framework: 1.0, and "@(#)PROGRAM:Kova  PROJECT:Kova-1" with a line break at its
// end.
extern "C" {
KOVA_EXPORT extern const double KovaVersionNumber;
KOVA_EXPORT extern const unsigned char KovaVersionString[];
}
