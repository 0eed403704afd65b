// Pageviews: the one road by which every pageview is recorded, and those that events cannot do without.

#include <Kova/KovaConstants.h>

#include "src/core/KovaLogger.h"
#include "src/core/KovaUtil.h"
#include "src/core/tracker/KovaTracker.h"
#include "src/visualizer/KovaEventRecording.h"

using namespace platform;

namespace {

std::string descriptionForLog(const Dictionary& pageviewInfo) {
  struct Line {
    std::string_view key;
    const char* label;
  };
  const Line lines[] = {
      {KovaPageviewPropertyViewController, "\n   View controller                         : "},
      {KovaPageviewPropertyTitle, "\n   View controller title                   : "},
      {KovaPageviewPropertyAccessibilityIdentifier, "\n   View controller accessibilityIdentifier : "},
      {KovaPageviewPropertyAccessibilityLabel, "\n   View controller accessibilityLabel      : "},
  };
  std::string text;
  for (const Line& line : lines) {
    const Value* value = pageviewInfo.find(line.key);
    if (!value || value->description().empty()) continue;
    text += line.label;
    text += value->description();
  }
  return text;
}

}  // namespace

Dictionary KovaTracker::applyTimestampAndIdToPageviewInfo(const Dictionary& pageviewInfo) {
  MutableDictionary info(pageviewInfo);
  info.set(KovaPageviewPropertyTimestamp, KovaUtil::epochString());
  info.set(KovaPageviewPropertyId, KovaUtil::randomId());
  return Dictionary(std::move(info));
}

void KovaTracker::recordPageviewSendingToEventVisualizer(EventVisualizer eventVisualizer,
                                                         PageviewInfoBuilder mainQueuePageviewInfoBuilder,
                                                         SEL fromSelector, Repeat repeat) {
  performSafelyOnMainQueueWithBlock(
      [eventVisualizer, build = std::move(mainQueuePageviewInfoBuilder), fromSelector,
       repeat](KovaTracker& tracker) {
        const auto pageviewInfo = build(tracker);
        if (!pageviewInfo) return;
        auto recording = tracker.recordingOfScreen(eventVisualizer);
        tracker.extendSession();
        tracker.performSafelyOnMutationQueueWithBlock(
            [info = *pageviewInfo, repeat, recording = std::move(recording)](KovaTracker& self) {
              if (repeat == Repeat::OnceASession && self.sessionManager_->hasMostRecentPageviewInfo()) return;
              if (!self.enqueuePageview(info)) return;
              if (recording) {
                recording->send(
                    Dictionary(self.messageBuilder_->mutableMessagePageviewWithPageviewInfo(info)));
              }
              self.uploader_->requestScheduledUploads();
            },
            tracker, fromSelector);
        tracker.uploader_->requestScheduledUploads();
        tracker.areUploadsSuspended_ = false;
      },
      *this, fromSelector);
}

bool KovaTracker::enqueuePageview(const Dictionary& pageviewInfo) {
  if (!queueManager_->canEnqueueUrlString()) return false;
  queueManager_->moveEnqueuedMessagesToBatchAndPersist();
  if (KovaLoggingEnabled(kKovaLogLevelDebug)) {
    KovaLogDebug("Logged view controller with properties:%@", descriptionForLog(pageviewInfo));
  }
  Dictionary pixelProperties;
  const std::string url = requestBuilder_->pageviewUrlStringWithPageviewInfo(pageviewInfo, &pixelProperties);
  if (sessionManager_->loggedPageviewWithPageviewInfo(pageviewInfo, pixelProperties)) {
    queueManager_->enqueueFirstPageviewUrlString(url, *messageBuilder_);
    backfillPendingTouchEventsWithPageview();
  } else {
    queueManager_->enqueueUrlString(url);
  }
  return true;
}

void KovaTracker::injectPageviewsIfNeeded() {
  if (sessionManager_->hasMostRecentPageviewInfo()) return;
  if (isViewControllerAutocaptureDisabled()) return injectSyntheticPageviewIfNeeded();
  recordAdditionalPageviewsForForegroundedAndVisibleViewControllersFromPreviousSession(nullptr);
}

void KovaTracker::injectSyntheticPageviewIfNeeded() {
  static const SEL selector("injectSyntheticPageviewIfNeeded");
  if (!isViewControllerAutocaptureDisabled() || sessionManager_->hasMostRecentPageviewInfo()) return;
  recordPageviewSendingToEventVisualizer(
      EventVisualizer::Send,
      [](KovaTracker&) {
        return applyTimestampAndIdToPageviewInfo({{KovaPageviewPropertyViewController, ""},
                                                  {KovaPageviewPropertyTitle, ""},
                                                  {KovaPageviewPropertyAccessibilityIdentifier, ""},
                                                  {KovaPageviewPropertyAccessibilityLabel, ""}});
      },
      selector, Repeat::OnceASession);
}
