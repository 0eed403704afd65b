// What a pageview costs the main thread: two screens of a navigation controller appear in turns, with the
// library's replacement in place, which records each, and without.

#include "bench/BenchHost.h"
#include "bench/BenchQueues.h"
#include "platform/dispatch/Scheduler.h"
#include "platform/uikit/UIKit.h"
#include "src/core/tracker/UIViewController+PageviewCapture.h"

namespace {

using namespace platform;

constexpr bench::Bursts kBursts{.runs = 7, .burstsARun = 100, .callsABurst = 20};
constexpr std::size_t kPageviews = 7 * 100 * 20;

class Screens {
 public:
  Screens() {
    first_->setTitle("Basket");
    second_->setTitle("Checkout");
    window_->setRootViewController(navigation_);
    window_->makeKeyAndVisible();
    navigation_->pushViewController(second_, false);
  }
  void appear() {
    isSecond_ = !isSecond_;
    (isSecond_ ? *second_ : *first_).viewDidAppear(true);
  }

 private:
  const std::shared_ptr<UIViewController> first_ = std::make_shared<UIViewController>();
  const std::shared_ptr<UIViewController> second_ = std::make_shared<UIViewController>();
  const std::shared_ptr<UINavigationController> navigation_ = UINavigationController::create(first_);
  const std::shared_ptr<UIWindow> window_ = UIWindow::create();
  bool isSecond_ = true;  // that is how it is left
};

}  // namespace

int main() {
  const bench::Host host(false);
  const auto options = bench::Host::options();
  options->setDisableViewControllerAutocapture(false);
  Kova::initialize(bench::kEnvironment, options);
  Screens screens;
  const bench::Queues queues;
  const auto queue = Scheduler::current().makeSerialQueue("baseline", QualityOfService::Background);
  const auto appear = [&screens] { screens.appear(); };

  const bench::Figures handOver = bench::measure(
      kBursts, [&queue] { queue->async([] {}); }, [&queue] { queue->waitUntilIdle(); });

  auto& viewDidAppear = UIViewController::viewDidAppearMethod;
  const auto replacement = viewDidAppear.replace(UIViewController::classObject(), __KOVA_ViewDidAppear_Orig);
  const bench::Figures before = bench::measure(kBursts, appear, [] {});
  viewDidAppear.replace(UIViewController::classObject(), replacement);

  queues.takeUrls();
  std::size_t recorded = 0;
  const bench::Figures pageview = bench::measure(kBursts, appear, [&] { recorded += queues.takeUrls(); });
  if (recorded != kPageviews) {
    std::printf("%zu pageviews of %zu were recorded\n", recorded, kPageviews);
    return 1;
  }
  bench::printLine("empty hand-over, median", handOver.median, "us", "-");
  bench::printLine("a screen appears, before", before.median, "us", "-");
  bench::printLine("a screen appears and is recorded, median", pageview.median, "us", "<= 5");
  bench::printLine("a screen appears and is recorded, 99th percentile", pageview.percentile99, "us", "-");
  bench::printLine("  median as a multiple of the empty hand-over", pageview.median / handOver.median, "x",
                   "-");
}
