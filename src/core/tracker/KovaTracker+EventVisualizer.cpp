// What starts pairing with the Event Visualizer, and who is to be told of events meanwhile.

#include <Kova/KovaConstants.h>

#include "platform/graphics/Drawing.h"
#include "src/core/KovaLogger.h"
#include "src/core/tracker/KovaTracker+Perform.h"
#include "src/visualizer/KovaEventRecording.h"
#include "src/visualizer/KovaEventVisualizer.h"
#include "src/visualizer/KovaOpenURLParser.h"

using namespace platform;

namespace {

constexpr std::uint64_t kSupportedLinkSchema = 1;

}  // namespace

void KovaTracker::handleOpenURL(const NSURL& url) {
  const auto link = openURLParser_->parseUrl(url);
  if (!link) return;
  if (link->schemaVersion != kSupportedLinkSchema) {
    KovaLog("Invalid schema version detected (%lu). Kova Event Visualizer will not be enabled.",
            link->schemaVersion);
    return;
  }
  if (link->instruction == KovaOpenURLInstructionLaunchEventVisualizer) startEVPairing();
}

void KovaTracker::startEVPairing() {
  stopEVPairing();
  if (!KovaEventVisualizer::isAvailable()) {
    KovaLog("Event Visualizer device pairing only available on iOS 13.0 or greater");
    return;
  }
  if (!Drawing::isAvailable()) {
    KovaLog("Event Visualizer device pairing is not available: this program has nothing to draw with");
    return;
  }
  KovaLog("Enabling Event Visualizer. Connecting to Kova server.");
  performSafelyOnMainQueueWithBlock("startEVPairing", [](KovaTracker& tracker) KOVA_ON_MAIN_THREAD {
    tracker.eventVisualizer_ = std::make_shared<KovaEventVisualizer>(
        tracker.appId_, tracker.options_, *tracker.appProperties_, tracker.mutationQueue_);
    tracker.eventVisualizer_->connect();
  });
}

void KovaTracker::stopEVPairing() {
  if (!KovaEventVisualizer::isAvailable()) return;
  performSafelyOnMainQueueWithBlock("stopEVPairing", [](KovaTracker& tracker) KOVA_ON_MAIN_THREAD {
    if (tracker.eventVisualizer_) tracker.eventVisualizer_->disconnect();
  });
}

std::shared_ptr<const KIEventRecording> KovaTracker::recordingOfScreen() const {
  return KovaEventRecording::ofScreen(eventVisualizer_, *this);
}
