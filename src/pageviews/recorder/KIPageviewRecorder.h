#pragma once

#include <memory>
#include <optional>
#include <string_view>

#include "platform/foundation/Value.h"
#include "src/core/Threads.h"

class KIEventRecording;
class KISessionManager;
class KovaMessageBuilder;
class KovaOptions;
class KovaQueueManager;
class KovaRequestBuilder;
class KovaUploader;
namespace platform {
class UIViewController;
class UIWindow;
class UIWindowScene;
}  // namespace platform

// A pageview on its way from the main thread to the mutation queue.
struct KIPageview {
  // OnceASession: dropped on the mutation queue when the session has got a pageview meanwhile. Several events
  // may ask for the same injected pageview before the first of them has got it. ForWaiting: dropped as well
  // when no message waits for it.
  enum class Repeat { Always, OnceASession, ForWaiting };

  platform::Dictionary info;
  Repeat repeat;
  std::shared_ptr<const KIEventRecording> recording;  // null when the Event Visualizer is not told
};

// Records pageviews: of screens that appear, of those that are still there when the app comes back to the
// foreground or a new session begins, and those that events cannot do without.
//
// Owned by the tracker, as is all that it refers to.
class KIPageviewRecorder {
 public:
  // What the tracker does for it.
  class Owner {
   public:
    virtual bool isTrackingEnabled() const = 0;
    virtual void logDebugTrackingDisabled(std::string_view label) const = 0;
    virtual void extendSession() = 0;
    virtual std::shared_ptr<const KIEventRecording> recordingOfScreen() const KOVA_ON_MAIN_THREAD = 0;
    // Hands the pageview over to enqueue(), of the recorder that is in force by then.
    virtual void consumePageview(const char* fromSelector, KIPageview pageview) KOVA_ON_MAIN_THREAD = 0;
    // The session has its first pageview.
    virtual void backfillPendingTouchEventsWithPageview() KOVA_ON_MUTATION_QUEUE = 0;

   protected:
    ~Owner() = default;
  };
  struct Parts {
    const KovaOptions& options;
    KISessionManager& sessionManager;
    KovaQueueManager& queueManager;
    const KovaRequestBuilder& requestBuilder;
    const KovaMessageBuilder& messageBuilder;
    KovaUploader& uploader;
  };

  KIPageviewRecorder(Owner& owner, const Parts& parts) : owner_(owner), parts_(parts) {}

  // A screen has appeared.
  void recordAutocapturedPageviewWithViewController(
      const std::shared_ptr<platform::UIViewController>& controller) KOVA_ON_MAIN_THREAD;
  // A pageview with empty fields, unless the session gets another one before it.
  void injectSyntheticPageviewIfNeeded(KIPageview::Repeat repeat = KIPageview::Repeat::OnceASession)
      KOVA_ON_MAIN_THREAD;

  void recordAdditionalPageviewFromForegroundingApp() KOVA_ON_MAIN_THREAD;
  // The scene may be null.
  void recordAdditionalPageviewFromForegroundingScene(platform::UIWindowScene* scene) KOVA_ON_MAIN_THREAD;
  // Asked for by every event until the session has a pageview, and yet each screen is recorded once:
  // recording it attaches a pageview of this session to it, so that the next event no longer finds it here.
  void recordVisibleViewControllersFromPreviousSession() KOVA_ON_MAIN_THREAD;
  void reportScreenShownBeforeStart() const KOVA_ON_MAIN_THREAD;

  void enqueue(const KIPageview& pageview) KOVA_ON_MUTATION_QUEUE;
  // The same for a pageview of an earlier process: no dashboard is told, and nothing is uploaded at once.
  // True when it was queued.
  bool enqueueQuietly(const platform::Dictionary& info, KIPageview::Repeat repeat) KOVA_ON_MUTATION_QUEUE;

 private:
  // The one road by which every pageview is recorded; the builder answers its info, or none. A failure is
  // reported as one of `fromSelector`.
  template <class Builder>
  void recordPageviewSendingToEventVisualizer(const char* fromSelector, KIPageview::Repeat repeat,
                                              Builder mainQueuePageviewInfoBuilder) KOVA_ON_MAIN_THREAD;
  void recordAdditionalAutocapturedPageviewForWindow(platform::UIWindow& window) KOVA_ON_MAIN_THREAD;
  void recordAdditionalAutocapturedPageviewWithMostRecentPageviewInfo() KOVA_ON_MAIN_THREAD;
  // False when the queue of pageviews is full.
  bool enqueuePageviewUrl(const platform::Dictionary& pageviewInfo) KOVA_ON_MUTATION_QUEUE;

  Owner& owner_;
  const Parts parts_;
  bool isDescribingScreen_ KOVA_OF_MAIN_THREAD = false;
};
