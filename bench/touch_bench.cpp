// What a touch costs the main thread: the application is told of a finger that came down, with the library's
// replacement in place, which records it, and without; then the parts of it. Every touch is a finger of its
// own, and is found in the queue in the end.

#include "bench/BenchHost.h"
#include "bench/BenchQueues.h"
#include "bench/BenchScreen.h"
#include "platform/dispatch/Scheduler.h"
#include "src/autocapture/KIViewAncestry.h"
#include "src/autocapture/KovaUtil.h"
#include "src/core/tracker/KovaTracker.h"
#include "src/core/tracker/UIApplication+EventInterceptor.h"

namespace {

using namespace platform;

constexpr bench::Bursts kBursts{.runs = 7, .burstsARun = 100, .callsABurst = 20};
constexpr std::size_t kTouches = 7 * 100 * 20;

// Adds something to every touch and to each of its responders.
class Delegate : public KovaAutocaptureEnrichmentDelegate {
 public:
  std::optional<Dictionary> autocaptureAncestryNodePropertiesForResponder(UIResponder&) override {
    return Dictionary{{"accessibilityLabel", "pay"}};
  }
  std::optional<Dictionary> autocaptureTouchEventPropertiesForEventType(std::string_view, UIView&, UITouch*,
                                                                        UIControl*) override {
    return Dictionary{{"targetText", "Pay now"}};
  }
};

// Fingers that have come down, of which no one has been told yet.
class Touches {
 public:
  explicit Touches(const bench::Screen& screen) : screen_(screen) { prepare(); }
  void prepare() {
    events_.clear();
    for (int i = 0; i < kBursts.callsABurst; ++i) events_.push_back(screen_.touchOnButton());
  }
  std::shared_ptr<UIEvent> next() {
    auto event = std::move(events_.back());
    events_.pop_back();
    return event;
  }

 private:
  const bench::Screen& screen_;
  std::vector<std::shared_ptr<UIEvent>> events_;
};

using OneTouch = std::function<void(const std::shared_ptr<UIEvent>&)>;

bench::Figures measureTouches(const bench::Screen& screen, KovaTracker& tracker, const OneTouch& oneTouch) {
  Touches touches(screen);
  std::vector<std::shared_ptr<UIEvent>> told;
  return bench::measure(
      kBursts, [&] { oneTouch(told.emplace_back(touches.next())); },
      [&] {
        for (const auto& event : told) {
          event->allTouches().front()->setPhase(UITouchPhase::Ended);
          screen.application->sendEvent(*event);
        }
        told.clear();
        kova::mainThread.isHere();
        tracker.consumeAllLiveTouches();
        KOVA_serialStateQueue()->waitUntilAllOperationsAreFinished();
        touches.prepare();
      });
}

bench::Figures measureRecorded(const bench::Queues& queues, const bench::Screen& screen, KovaTracker& tracker,
                               const OneTouch& oneTouch) {
  queues.takeMessages();
  const bench::Figures figures = measureTouches(screen, tracker, oneTouch);
  const std::size_t recorded = queues.takeMessages();
  if (recorded != kTouches) {
    std::printf("%zu touches of %zu were recorded\n", recorded, kTouches);
    std::exit(1);
  }
  return figures;
}

void printRecorded(const bench::Queues& queues, const bench::Screen& screen, KovaTracker& tracker,
                   const OneTouch& tell) {
  const auto queue = Scheduler::current().makeSerialQueue("baseline", QualityOfService::Background);
  const bench::Figures handOver = bench::measure(
      kBursts, [&queue] { queue->async([] {}); }, [&queue] { queue->waitUntilIdle(); });

  auto& sendEvent = UIApplication::sendEventMethod;
  const auto replacement = sendEvent.replace(UIApplication::classObject(), __KOVA_SendEvent_Orig);
  const bench::Figures before = measureTouches(screen, tracker, tell);
  sendEvent.replace(UIApplication::classObject(), replacement);
  const bench::Figures touch = measureRecorded(queues, screen, tracker, tell);
  const bench::Figures wholeTap =
      measureRecorded(queues, screen, tracker, [&](const std::shared_ptr<UIEvent>& event) {
        static const String action("pay:");
        const std::shared_ptr<UITouch> finger = event->allTouches().front();
        KOVA_handleSendEvent(*screen.application, *event);
        tracker.enrichAutocapturedEventForTouch(finger, action, screen.controller->payButton);
        finger->setPhase(UITouchPhase::Ended);
        kova::mainThread.isHere();
        tracker.consumeAllLiveTouches();
      });
  bench::printLine("empty hand-over, median", handOver.median, "us", "-");
  bench::printLine("a touch, before", before.median, "us", "-");
  bench::printLine("a touch, median", touch.median, "us", "<= 10");
  bench::printLine("a touch, 99th percentile", touch.percentile99, "us", "-");
  bench::printLine("  median as a multiple of the empty hand-over", touch.median / handOver.median, "x", "-");
  bench::printLine("a touch and its action, until it has left the cache, median", wholeTap.median, "us",
                   "<= 8");
}

void printParts(const bench::Screen& screen, KovaTracker& tracker) {
  UIButton& button = *screen.controller->payButton;
  const auto captured = KIViewAncestry::captureFromView(button, tracker, KIViewAncestry::BoundingBoxes::Omit);
  std::printf("%zu responders, \"%s\", %s\n", captured->ancestry().size(),
              KovaUtil::getText(button, false).str().c_str(),
              KovaUtil::propertyName(button).value_or("").str().c_str());
  const auto print = [](const char* what, const std::function<void()>& part) {
    const auto nothing = [] {};
    bench::printLine(what, bench::measure(kBursts, part, nothing).median, "us", "-");
  };
  print("  of it: ancestry of 30 responders",
        [&] { KIViewAncestry::captureFromView(button, tracker, KIViewAncestry::BoundingBoxes::Omit); });
  print("  of it: text", [&] { KovaUtil::getText(button, false); });
  const UILabel longLabel(String(std::string(10'000'000, 'a')));
  print("  text of a label of 10 MB", [&] { KovaUtil::getText(longLabel, false); });
  print("  of it: name of the instance variable, the last of 50", [&] { KovaUtil::propertyName(button); });
  print("  of it: extending the session", [&] { tracker.extendSession(); });
}

}  // namespace

int main() {
  const bench::Host host(false);
  const auto options = bench::Host::options();
  options->setDisableViewControllerAutocapture(false);
  Kova::initialize(bench::kEnvironment, options);
  const bench::Screen screen;
  screen.show();
  const auto tracker = KovaTracker::sharedTracker();
  const bench::Queues queues;
  const auto tell = [&screen](const std::shared_ptr<UIEvent>& event) {
    screen.application->sendEvent(*event);
  };
  const auto print = [&](const char* what) {
    bench::printLine(what, measureRecorded(queues, screen, *tracker, tell).median, "us", "<= 10");
  };

  printRecorded(queues, screen, *tracker, tell);
  printParts(screen, *tracker);
  const auto delegate = std::make_shared<Delegate>();
  options->setAutocaptureEnrichmentDelegate(delegate);
  print("a touch, with a delegate that enriches");
  options->setAutocaptureEnrichmentDelegate({});
  setKovaRedactAccessibilityLabel(*screen.window, true);
  print("a touch, with a rule on the window");
  options->setAutocaptureEnrichmentDelegate(delegate);
  print("a touch, with both");
}
