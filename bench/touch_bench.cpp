// What a touch costs the main thread, from the interceptor to the hand-over to the queue, against an empty
// hand-over to the same kind of queue: 30 responders, two texts, and a controller with 50 instance variables
// of which the last holds the touched button.

#include "bench/BenchHost.h"
#include "platform/dispatch/Scheduler.h"
#include "platform/uikit/UIKit.h"
#include "src/autocapture/KIViewAncestry.h"
#include "src/autocapture/UIApplication+EventInterceptor.h"
#include "src/core/KovaTracker.h"
#include "src/events/KovaUtil.h"

namespace {

using namespace platform;

constexpr bench::Bursts kBursts{.runs = 7, .burstsARun = 100, .callsABurst = 20};
constexpr int kViewsAboveButton = 26;  // with the button, the controller, the window and the app: 30
constexpr int kOtherVariables = 49;

class BenchController : public UIViewController {
  NS_OBJECT(BenchController, UIViewController)

 public:
  static void describe(ClassBuilder<BenchController>& c) {
    for (int i = 0; i < kOtherVariables; ++i) c.ivar("_view" + std::to_string(i), &BenchController::other);
    c.ivar("_payButton", &BenchController::payButton);
  }

  std::shared_ptr<UIView> other = std::make_shared<UIView>();
  std::shared_ptr<UIButton> payButton = std::make_shared<UIButton>();
};

struct Screen {
  Screen() {
    UIApplication::setSharedApplication(application);
    std::shared_ptr<UIView> view = controller->view();
    for (int i = 1; i < kViewsAboveButton; ++i) {
      const auto inner = std::make_shared<UIView>();
      inner->setAccessibilityIdentifier("level " + std::to_string(i));
      view->addSubview(inner);
      view = inner;
    }
    controller->payButton->addSubview(std::make_shared<UILabel>("Pay now"));
    controller->payButton->addSubview(std::make_shared<UILabel>("and get it tomorrow"));
    view->addSubview(controller->payButton);
    window->setRootViewController(controller);
    window->makeKeyAndVisible();
    const auto touch = std::make_shared<UITouch>();
    touch->setTarget(window, controller->payButton);
    event->addTouch(touch);
  }

  const std::shared_ptr<UIApplication> application = std::make_shared<UIApplication>();
  const std::shared_ptr<UIWindow> window = UIWindow::create();
  const std::shared_ptr<BenchController> controller = std::make_shared<BenchController>();
  const std::shared_ptr<UIEvent> event = std::make_shared<UIEvent>();
};

}  // namespace

int main() {
  const bench::Host host(false);
  const Screen screen;
  Kova::initialize(bench::kEnvironment, bench::Host::options());
  const auto tracker = KovaTracker::sharedTracker();
  const UIButton& button = *screen.controller->payButton;
  const auto queue = Scheduler::current().makeSerialQueue("baseline", QualityOfService::Background);
  const auto nothing = [] {};

  const bench::Figures handOver = bench::measure(
      kBursts, [&queue] { queue->async([] {}); }, [&queue] { queue->waitUntilIdle(); });
  const bench::Figures touch = bench::measure(
      kBursts, [&screen] { KOVA_handleSendEvent(*screen.application, *screen.event); },
      [&tracker] {
        tracker->consumeAllLiveTouches();
        KOVA_serialStateQueue()->waitUntilAllOperationsAreFinished();
      });
  const bench::Figures ancestry = bench::measure(
      kBursts,
      [&] {
        KIViewAncestry::captureFromView(*screen.controller->payButton, *tracker,
                                        KIViewAncestry::BoundingBoxes::Omit);
      },
      nothing);
  const bench::Figures text = bench::measure(
      kBursts, [&] { KovaUtil::getText(button, false); }, nothing);
  const UILabel longLabel(String(std::string(10'000'000, 'a')));
  const bench::Figures longText = bench::measure(
      kBursts, [&] { KovaUtil::getText(longLabel, false); }, nothing);
  const bench::Figures variable = bench::measure(
      kBursts, [&] { KovaUtil::propertyName(button); }, nothing);
  const bench::Figures session = bench::measure(
      kBursts, [&] { tracker->extendSession(); }, nothing);

  const auto captured = KIViewAncestry::captureFromView(*screen.controller->payButton, *tracker,
                                                        KIViewAncestry::BoundingBoxes::Omit);
  std::printf("%zu responders, \"%s\", %s\n", captured->ancestry().size(),
              KovaUtil::getText(button, false).str().c_str(),
              KovaUtil::propertyName(button).value_or("").str().c_str());
  bench::printLine("empty hand-over, median", handOver.median, "us", "-");
  bench::printLine("a touch, median", touch.median, "us", "<= 10");
  bench::printLine("a touch, 99th percentile", touch.percentile99, "us", "-");
  bench::printLine("  median as a multiple of the empty hand-over", touch.median / handOver.median, "x", "-");
  bench::printLine("  of it: ancestry of 30 responders", ancestry.median, "us", "-");
  bench::printLine("  of it: text", text.median, "us", "-");
  bench::printLine("  text of a label of 10 MB", longText.median, "us", "-");
  bench::printLine("  of it: name of the instance variable, the last of 50", variable.median, "us", "-");
  bench::printLine("  of it: extending the session", session.median, "us", "-");
}
