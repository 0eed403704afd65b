#pragma once

#include <Kova/KovaStatus.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/foundation/Value.h"
#include "platform/runtime/NSObject.h"
#include "src/autocapture/KICaptureContext.h"
#include "src/core/Threads.h"
#include "src/pageviews/recorder/KIPageviewRecorder.h"
#include "src/storage/KICallLog.h"

struct KovaFlushed;
class KICounters;
class KILifecycleEvent;
class KIIdentityManager;
class KISerialStateQueue;
class KISessionTimer;
class KITouchEvent;
class KITouchEventCache;
struct KIMoment;
class KovaAppProperties;
class KovaEventVisualizer;
class KovaOpenURLParser;
class KovaPersistentStore;
namespace kova {
struct SeenTouch;
}
namespace platform {
class NSTimer;
class NSURL;
class UIGestureRecognizer;
}  // namespace platform

// The central object of the library. It owns every other component, runs the start-up, keeps the session
// alive and is the way onto the mutation queue and the main queue for all of them.
//
// Life cycle: made, made the shared tracker, started, and stopped when the host initialises again, shuts down
// or erases what is stored; never restarted. Work that it queued retains it until it has run.
//
// Threads: what says nothing may be called from any. The record… and property methods convert their input
// there and hand over; identity, sessions, queues and stored state change on the mutation queue.
//
// Its implementation lies in several files, one for each part of its work.
class KovaTracker : public platform::NSObject, public KICaptureContext, private KIPageviewRecorder::Owner {
  NS_OBJECT(KovaTracker, NSObject)

 public:
  using Completion = std::function<void()>;

  // `appId` is a valid environment id. On the main thread.
  KovaTracker(std::string_view appId, std::shared_ptr<KovaOptions> options,
              std::shared_ptr<KISerialStateQueue> mutationQueue);
  // Finishes what a process that has ended left undone, in its place and as its user, by a tracker that is
  // never started. NotBegun: the place cannot be read for the moment. InMemory: not all of it can be
  // stored. The calls that go on being noted there are given for this process's own place.
  enum class Finished { NotBegun, InMemory, Stored };
  static Finished finishWorkIn(const std::shared_ptr<KovaPersistentStore>& left,
                               const std::shared_ptr<KovaOptions>& options,
                               const std::shared_ptr<KISerialStateQueue>& mutationQueue,
                               const std::shared_ptr<KICallLog>& ownCalls = nullptr) KOVA_ON_MUTATION_QUEUE;
  // What all trackers have; see above for both.
  struct Parts;
  KovaTracker(Parts parts, std::shared_ptr<KovaOptions> options,
              std::shared_ptr<KISerialStateQueue> mutationQueue);
  ~KovaTracker() override;

  // Null before the first initialisation.
  static std::shared_ptr<KovaTracker> sharedTracker();
  static void setSharedTracker(std::shared_ptr<KovaTracker> tracker);
  // None from now on, if it is this one; answers whether it was.
  static bool clearSharedTracker(const KovaTracker& tracker);

  // If the environment id is not valid, `message` receives what is wrong with it.
  static bool isValidAppId(std::string_view appId, std::string& message);

  // Installs the method replacements that the options ask for, on the main thread. What is installed stays
  // for the life of the process.
  static void instrumentAutocaptureWithOptions(const KovaOptions& options);

  void start() KOVA_ON_MAIN_THREAD;
  // The tracker that replaces it is of the environment `nextAppId`, which is empty when none does.
  void stop(std::string_view nextAppId);
  // Touches that wait go on waiting with this tracker when it is of the same environment; for another one
  // they are complete as they are, and stored.
  void takeOverTouchesOf(KovaTracker& previous) KOVA_ON_MAIN_THREAD;

  // As Kova::flush.
  KovaFlushed flush(double seconds);

  // What Kova::status tells, also when the tracker is gone.
  std::shared_ptr<const KICounters> counters() const;

  bool isTrackingEnabled() const override { return isTrackingEnabled_; }
  void setTrackingEnabled(bool enabled) { isTrackingEnabled_ = enabled; }
  void setUploadInterval(double seconds);

  // The Event Visualizer.
  void handleOpenURL(const platform::NSURL& url);
  void startEVPairing();
  void stopEVPairing();

  std::string userId() const;
  // As it is kept, URL-encoded.
  std::optional<std::string> identity() const;
  std::string sessionId() const override;

  // What the options say now.
  bool isTouchAutocaptureDisabled() const;
  bool isViewControllerAutocaptureDisabled() const;
  bool isBackgroundAutocaptureDisabled() const;
  bool isTitleCaptureDisabled() const;
  bool isTextCaptureDisabled() const override;
  bool isAccessibilityLabelCaptureDisabled() const override;
  bool isIvarCaptureDisabled() const override;
  std::int64_t hierarchyCaptureLimit() const override;
  bool enableAccessibilityPrefetching() const override;

  // What the enrichment delegate answers; nothing without a delegate.
  std::optional<platform::Dictionary> overriddenTouchEventPropertiesForEventType(
      std::string_view eventType, platform::UIView* view, platform::UITouch* touch,
      platform::UIControl* control) const KOVA_ON_MAIN_THREAD override;
  std::optional<platform::Dictionary> overriddenAncestryNodePropertiesForResponder(
      platform::UIResponder* responder) const KOVA_ON_MAIN_THREAD override;

  // Touches, gestures and field edits.
  void recordAutocapturedEventWithType(const platform::String& type, std::shared_ptr<platform::UIView> view,
                                       std::shared_ptr<platform::UITouch> touch,
                                       const std::optional<platform::String>& selector,
                                       ViewAncestry viewAncestry) KOVA_ON_MAIN_THREAD;
  void recordAutocapturedGestureRecognizer(const platform::UIGestureRecognizer& recognizer)
      KOVA_ON_MAIN_THREAD;
  // An action was sent: gives its name, and what the sender is known by, to the touch that waits for it. The
  // touch and the sender may be null.
  void enrichAutocapturedEventForTouch(std::shared_ptr<platform::UITouch> touch,
                                       const std::optional<platform::String>& selectorString,
                                       std::shared_ptr<platform::NSObject> sender) KOVA_ON_MAIN_THREAD;
  // Queues an event that is complete.
  void consumeTouchEvent(std::shared_ptr<KITouchEvent> event) KOVA_ON_MAIN_THREAD;
  // Queues every touch that still waits.
  void consumeAllLiveTouches() KOVA_ON_MAIN_THREAD;

  // Custom and framework events. Properties that are not given are nullopt; anything but a dictionary is
  // discarded.
  void recordCustomEvent(std::string_view name, const std::optional<platform::Value>& properties);
  void recordFrameworkAutocaptureEvent(std::string_view name, std::string_view source,
                                       const std::optional<platform::Value>& sourceProperties);
  void recordFrameworkCustomEvent(std::string_view name, const std::optional<platform::Value>& properties,
                                  std::string_view source,
                                  const std::optional<platform::Value>& sourceProperties);

  // Properties and identity.
  void identify(const std::optional<platform::Value>& identity);
  // The completion, if any, is called once the identity is that of an anonymous user, on either queue.
  void resetIdentity(Completion completion = nullptr);
  void addUserProperties(const std::optional<platform::Value>& properties);
  void addEventProperties(const std::optional<platform::Value>& properties);
  void removeEventProperty(std::string_view name);
  void clearEventProperties();

  void extendSession() override;
  // Of the main run loop's default mode; null until the session is extended first.
  std::shared_ptr<platform::NSTimer> sessionExpirationTimer() const KOVA_ON_MAIN_THREAD;
  void resetSession();

  // Pageviews. Without one, no event leaves the device.
  void injectPageviewsIfNeeded();
  // A screen has appeared.
  void recordAutocapturedPageviewWithViewController(
      const std::shared_ptr<platform::UIViewController>& controller) KOVA_ON_MAIN_THREAD;

  void logDebugTrackingDisabled(std::string_view label) const override;

  // Runs block(tracker) on the mutation queue, later and in order; retains the tracker until then. If it has
  // been replaced by then by another of its environment, the block is given that one: what was called in time
  // belongs to the session that is in force, unless all was erased between. (KovaTracker+Perform.h)
  template <class Block>
  void performSafelyOnMutationQueueWithBlock(const char* selector, Block block);
  // The same for what the host calls often and does not wait for: a few milliseconds later at most.
  template <class Block>
  void performSafelyOnMutationQueueSoonWithBlock(const char* selector, Block block);
  template <class Block>
  static auto forTheOneInForce(Block block);
  // As the first without waking a queue that sleeps: the block runs with what is queued next, and is given
  // this tracker.
  template <class Block>
  void performSafelyOnMutationQueueLazilyWithBlock(const char* selector, Block block);
  // Runs block(tracker) at once on the main thread; from elsewhere it is queued there.
  template <class Block>
  void performSafelyOnMainQueueWithBlock(const char* selector, Block block);

 private:
  // The shared tracker when it has the same queues, else this one. Another environment has others, and so has
  // the same one after it was erased: what is called before is not for the user who comes next.
  std::shared_ptr<KovaTracker> inForce();
  std::shared_ptr<const KIEventRecording> recordingOfScreen() const override KOVA_ON_MAIN_THREAD;

  static void bindApplicationEventListeners();
  static void appDidEnterBackground();
  static void appWillEnterForeground();
  static void sceneWillEnterForeground(const std::shared_ptr<platform::NSObject>& scene);
  void setUpTelemetry() const;
  void storeEnqueuedMessages(const char* fromSelector);
  struct Flush;
  void injectPageviewForWaiting() KOVA_ON_MAIN_THREAD;
  void storeForFlush(const std::shared_ptr<Flush>& flush);

  void purgeStore() KOVA_ON_MUTATION_QUEUE;
  // The stored user and queues. Unread: the mutation queue is held. Assumed: it goes on, in memory, with a
  // user made up, or without a place as the stored one. Left: it is held, and the next tracker reads them.
  enum class StoreState { Unread, Assumed, TakenUp, Left };
  // Short: what takes long is put off.
  enum class Pace { Short, Whole };
  enum class Loaded { Yes, Unreadable, PutOff };
  // Yes: user and queues are the stored ones, and what ended processes have left undone is done.
  Loaded loadStored(Pace pace);
  // What those have left in places other than the first.
  Loaded finishLeftPlaces(Pace pace) KOVA_ON_MUTATION_QUEUE;
  // Suspends the mutation queue while the store cannot be read, or what takes long is done there, for one
  // upload interval at most, in all of the trackers that follow one another in an environment. From then on
  // the work goes on with a user made up, and what is stored is taken up when it can be read. Without a place
  // it goes on at once, as the stored user, if that one can be read.
  void holdWorkWhileStoreIsUnreadable() KOVA_ON_MAIN_THREAD;
  void releaseHeldWork() KOVA_ON_MAIN_THREAD;
  void takeUpStoreAfter(double seconds, double secondsLeft);
  // False when it is to be tried again.
  bool takeUpStore(bool mayWait);
  bool takeUpLockedStore(bool mayWait) PLATFORM_REQUIRES(storeMutex_);
  bool assumeUserWithoutPlace();
  void leaveStoreTo(std::string_view nextAppId);
  // Once, what waits for the stored queues; while they are unread, it waits for them to be taken up.
  void beginWithStored() KOVA_ON_MUTATION_QUEUE;
  void enqueueLifecycleEvent() KOVA_ON_MUTATION_QUEUE;
  bool storeLifecycleEvent(const KILifecycleEvent& event) KOVA_ON_MUTATION_QUEUE;

  struct CustomEvent;  // what the host's call gave, and what the screen in front adds to it

  // Calls, from the moment they return (KICallLog): note… writes one down, before it is handed over; redo…
  // does what an earlier process has not got to, as that would have.
  enum class Call : char;
  template <class... Arguments>
  std::uint64_t note(Call call, const Arguments&... arguments) const;
  std::uint64_t note(const CustomEvent& event, bool isScreenKnown) const;
  void note(KITouchEvent& event) const KOVA_ON_MAIN_THREAD;
  void noteMoment(std::uint64_t call, const KIMoment& moment) KOVA_ON_MUTATION_QUEUE;
  void noteSession() KOVA_ON_MUTATION_QUEUE;
  // As performSafelyOnMutationQueueWithBlock, for a call that the block is all of.
  template <class Block>
  void performNotedOnMutationQueue(const char* selector, std::uint64_t call, Block block);
  struct LeftCall;
  void redoLeftCalls() KOVA_ON_MUTATION_QUEUE;
  void redoLeftCall(const LeftCall& call) KOVA_ON_MUTATION_QUEUE;
  static std::vector<LeftCall> leftCallsIn(std::vector<KICallLog::Left::Call> left);
  // Whether a message came of it, which says itself that it is done.
  bool redoMessage(const LeftCall& call) KOVA_ON_MUTATION_QUEUE;
  void redo(LeftCall call) KOVA_ON_MUTATION_QUEUE;
  bool redoCustomEvent(LeftCall call) KOVA_ON_MUTATION_QUEUE;
  static platform::Dictionary changedTouch(const platform::Dictionary& noted, std::string arguments);
  bool redoTouch(LeftCall call) KOVA_ON_MUTATION_QUEUE;

  // The three roads, of custom events, touches and pageviews (KIPageviewRecorder): read… makes a value of
  // what the screen tells, on the main thread; consume… hands it over; enqueue… makes a message or URL of it
  // on the mutation queue.
  void trackCustomEvent(std::shared_ptr<CustomEvent> event);
  void beginMoment(const std::shared_ptr<CustomEvent>& event);
  void readActiveScreen(CustomEvent& event) KOVA_ON_MAIN_THREAD;
  void consumeCustomEvent(std::shared_ptr<CustomEvent> event);
  void enqueueCustomEvent(CustomEvent& event) KOVA_ON_MUTATION_QUEUE;
  void storeLateMessages() KOVA_ON_MUTATION_QUEUE;

  std::shared_ptr<KITouchEvent> readTouch(const kova::SeenTouch& seen) KOVA_ON_MAIN_THREAD;  // may be null
  void keepUntilItsAction(const std::shared_ptr<KITouchEvent>& event) KOVA_ON_MAIN_THREAD;
  void enqueueTouchEvent(const KITouchEvent& event) KOVA_ON_MUTATION_QUEUE;
  void backfillPendingTouchEventsWithPageview() override;

  void consumePageview(const char* fromSelector, KIPageview pageview) override KOVA_ON_MAIN_THREAD;
  void recordAdditionalPageviewsForForegroundedAndVisibleViewControllersFromPreviousSession(
      Completion completion);
  void recordAdditionalPageviewFromForegroundingApp();
  void recordAdditionalPageviewFromForegroundingScene(std::shared_ptr<platform::UIWindowScene> scene);

  void logEventPropertiesFromSelector(const char* fromSelector) const KOVA_ON_MUTATION_QUEUE;
  void addUserPropertiesOnMutationQueue(const platform::Dictionary& sanitized) KOVA_ON_MUTATION_QUEUE;
  // One step, in memory and in the store: nobody is seen in between as another user under the same name, or
  // as the same user without one.
  void identifyOnMutationQueue(const platform::String& identity) KOVA_ON_MUTATION_QUEUE;
  // False, changing nothing, when the user is anonymous already.
  bool beginWithNewUser() KOVA_ON_MUTATION_QUEUE;

  std::atomic<bool> isTrackingEnabled_;
  const std::string appId_;
  const std::shared_ptr<KovaOptions> options_;
  const std::shared_ptr<KISerialStateQueue> mutationQueue_;
  std::unique_ptr<const KovaAppProperties> appProperties_;
  std::shared_ptr<KovaPersistentStore> persistentStore_;
  std::shared_ptr<KIIdentityManager> identityManager_;
  std::unique_ptr<KISessionManager> sessionManager_;
  const std::unique_ptr<KISessionTimer> sessionTimer_;
  std::shared_ptr<KovaQueueManager> queueManager_;
  // Of processes that have ended; held until what this process has to do itself is done.
  std::vector<std::shared_ptr<KovaPersistentStore>> leftStores_ KOVA_OF_MUTATION_QUEUE;
  bool areLeftPlacesFinished_ KOVA_OF_MUTATION_QUEUE = false;
  std::shared_ptr<KITouchEventCache> touchEventCache_ KOVA_OF_MAIN_THREAD;
  std::unique_ptr<const KovaRequestBuilder> requestBuilder_;
  std::unique_ptr<const KovaMessageBuilder> messageBuilder_;
  std::shared_ptr<KovaUploader> uploader_;
  std::unique_ptr<KIPageviewRecorder> pageviewRecorder_;
  std::unique_ptr<const KovaOpenURLParser> openURLParser_;
  std::shared_ptr<KovaEventVisualizer> eventVisualizer_ KOVA_OF_MAIN_THREAD;  // null until asked for
  std::atomic<bool> isStopped_ = false;
  bool areLateMessagesOnTheirWay_ KOVA_OF_MUTATION_QUEUE = false;          // to a batch
  std::optional<KICallLog::Number> redoneSession_ KOVA_OF_MUTATION_QUEUE;  // of those that were left
  std::atomic<bool> isRedoing_ = false;  // of this process's screens nothing is known then
  // Held while the store is taken up, which two trackers of an environment may try.
  platform::Mutex storeMutex_;
  StoreState storeState_ PLATFORM_GUARDED_BY(storeMutex_) = StoreState::Unread;
  std::optional<double> holdEnd_ KOVA_OF_MAIN_THREAD;  // by the scheduler's uptime, none without a hold
  double firstRetry_ KOVA_OF_MAIN_THREAD = 0;          // seconds from the start, with a hold
  enum class Beginning { NotDue, Owed, Done };
  Beginning beginning_ KOVA_OF_MUTATION_QUEUE = Beginning::NotDue;
};
