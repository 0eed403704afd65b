#include <Kova/KovaConstants.h>

constinit const std::string_view KovaLibraryVersion = "9.0.0";
constinit const std::string_view KovaTrackerVersion = "3.0";
constinit const std::string_view KovaPageviewPropertyId = "id";
constinit const std::string_view KovaPageviewPropertyAccessibilityIdentifier = "screenA11yId";
constinit const std::string_view KovaPageviewPropertyAccessibilityLabel = "screenA11yLabel";
constinit const std::string_view KovaPageviewPropertyViewController = "viewController";
constinit const std::string_view KovaPageviewPropertyTitle = "title";
constinit const std::string_view KovaPageviewPropertyTimestamp = "timestamp";
constinit const std::string_view KovaAncestryNodePropertyAccessibilityIdentifier = "accessibilityIdentifier";
constinit const std::string_view KovaAncestryNodePropertyAccessibilityLabel = "accessibilityLabel";
constinit const std::string_view KovaAncestryNodePropertyClass = "class";
constinit const std::string_view KovaAncestryNodePropertyBoundingBox = "boundingBox";
constinit const std::string_view KovaTouchEventPropertyViewAncestry = "viewAncestry";
constinit const std::string_view KovaTouchEventPropertyEventType = "type";
constinit const std::string_view KovaTouchEventPropertyTargetClass = "targetView";
constinit const std::string_view KovaTouchEventPropertyTargetText = "targetText";
constinit const std::string_view KovaTouchEventPropertyTargetAccessibilityIdentifier = "targetA11yId";
constinit const std::string_view KovaTouchEventPropertyTargetAccessibilityLabel = "targetA11yLabel";
constinit const std::string_view KovaTouchEventPropertyTargetVariable = "targetIvar";
constinit const std::string_view KovaTouchEventPropertyTargetSelector = "targetSelector";
constinit const std::string_view KovaTouchEventTypeTouch = "touch";
constinit const std::string_view KovaTouchEventTypeFieldEdit = "fieldedit";
constinit const std::string_view KovaRedactedTextSubstitution = "****";
constinit const std::string_view KovaOpenURLInstructionLaunchEventVisualizer = "launch-ev";
constinit const std::string_view KovaPersistentPropertyKeyUrlEncodedIdentity = "identity";
constinit const std::string_view KovaPersistentPropertyKeyUserId = "userId";
constinit const std::string_view KovaPersistentPropertyKeyEventProperties = "eventProperties";
constinit const std::string_view KovaPersistentPropertyKeyQueuedUrlStrings = "queuedPageviews";
constinit const std::string_view KovaPersistentPropertyKeyQueuedEvents = "parts";
constinit const std::string_view KovaPersistentPropertyKeyQueuedMessageBatches = "queuedMessageBatches";
constinit const std::string_view TITLE_PATH = "asyncdisplaykit_node.normalAttributedTitle";

extern "C" {
const double KovaVersionNumber = 1.0;
const unsigned char KovaVersionString[] = "@(#)PROGRAM:Kova  PROJECT:Kova-1\n";
}
