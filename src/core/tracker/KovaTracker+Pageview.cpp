// Pageviews: the one road by which every pageview is recorded, and those that events cannot do without.

#include <Kova/KovaConstants.h>

#include "src/core/Clock.h"
#include "src/core/Ids.h"
#include "src/core/KovaLogger.h"
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
  info.set(KovaPageviewPropertyTimestamp, kova::epochString());
  info.set(KovaPageviewPropertyId, kova::randomId());
  return Dictionary(std::move(info));
}

// A pageview on its way from the main thread to the mutation queue.
struct KovaTracker::Pageview {
  Dictionary info;
  Repeat repeat;
  std::shared_ptr<const KovaEventRecording> recording;  // null when the Event Visualizer is not told
};

void KovaTracker::recordPageviewSendingToEventVisualizer(const char* fromSelector,
                                                         PageviewInfoBuilder mainQueuePageviewInfoBuilder,
                                                         Repeat repeat) {
  performSafelyOnMainQueueWithBlock(fromSelector,
                                    [fromSelector, build = std::move(mainQueuePageviewInfoBuilder),
                                     repeat](KovaTracker& tracker) KOVA_ON_MAIN_THREAD {
                                      if (auto pageview = tracker.readPageview(build, repeat)) {
                                        tracker.consumePageview(fromSelector, std::move(*pageview));
                                      }
                                    });
}

void KovaTracker::consumePageview(const char* fromSelector, Pageview pageview) {
  performSafelyOnMutationQueueWithBlock(fromSelector,
                                        [pageview = std::move(pageview)](KovaTracker& tracker)
                                            KOVA_ON_MUTATION_QUEUE { tracker.enqueuePageview(pageview); });
  uploader_->requestScheduledUploads();
  areUploadsSuspended_ = false;
}

std::optional<KovaTracker::Pageview> KovaTracker::readPageview(const PageviewInfoBuilder& build,
                                                               Repeat repeat) {
  auto info = build(*this);
  if (!info) return std::nullopt;
  auto recording = recordingOfScreen(EventVisualizer::Send);
  extendSession();
  return Pageview{std::move(*info), repeat, std::move(recording)};
}

void KovaTracker::enqueuePageview(const Pageview& pageview) {
  if (pageview.repeat == Repeat::OnceASession && sessionManager_->hasMostRecentPageviewInfo()) return;
  if (!enqueuePageviewUrl(pageview.info)) return;
  if (pageview.recording) {
    pageview.recording->send(
        Dictionary(messageBuilder_->mutableMessagePageviewWithPageviewInfo(pageview.info)));
  }
  uploader_->requestScheduledUploads();
}

bool KovaTracker::enqueuePageviewUrl(const Dictionary& pageviewInfo) {
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
  if (!isViewControllerAutocaptureDisabled() || sessionManager_->hasMostRecentPageviewInfo()) return;
  recordPageviewSendingToEventVisualizer(
      "injectSyntheticPageviewIfNeeded",
      [](KovaTracker&) {
        return applyTimestampAndIdToPageviewInfo({{KovaPageviewPropertyViewController, ""},
                                                  {KovaPageviewPropertyTitle, ""},
                                                  {KovaPageviewPropertyAccessibilityIdentifier, ""},
                                                  {KovaPageviewPropertyAccessibilityLabel, ""}});
      },
      Repeat::OnceASession);
}
