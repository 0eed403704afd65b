// A month of an app's life in virtual time: each day it comes to the front some times, shows screens, is
// touched, makes calls, is offline for a while, and sends. Memory, descriptors and timers must be the same
// after the last days as after the first.
//
//   proof-month DAYS

#include <malloc.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "platform/uikit/UIKit.h"
#include "tests/support/SimulatedDevice.h"

using namespace platform;

namespace {

constexpr int kVisits = 8;                 // a day
constexpr int kWarmUpDays = 3;             // lists that are kept have their length by then
constexpr std::ptrdiff_t kMore = 200'000;  // bytes of memory

struct Holdings {
  static std::ptrdiff_t entriesOf(const std::string& directory) {
    return std::distance(std::filesystem::directory_iterator(directory), {});
  }
  explicit Holdings(const SimulatedDevice& device)
      : descriptors(entriesOf("/proc/self/fd")),
        timers(static_cast<std::ptrdiff_t>(device.scheduler.pendingTimerCount())),
        files(static_cast<std::ptrdiff_t>(device.batchFiles().size())),
        bytes(static_cast<std::ptrdiff_t>(mallinfo2().uordblks)) {}
  std::ptrdiff_t descriptors, timers, files, bytes;
};

class Phone {
 public:
  Phone() {
    device.service.keepRequests(false);
    device.start(device.optionsWithScreens());
    window = device.show(std::make_shared<UIViewController>());
    device.settle();
  }
  void visit(int number) {
    device.setOnline(number % 4 != 3);
    auto screen = std::make_shared<UIViewController>();
    screen->setTitle("Screen " + std::to_string(number % 5));
    auto button = std::make_shared<UIButton>();
    button->setFrame(CGRectMake(0, 0, 100, 50));
    screen->view()->addSubview(button);
    window->setRootViewController(screen);
    if (number % 16 == 5) Kova::identify(number % 32 == 5 ? "ada" : "grace");
    if (number % 16 == 13) Kova::resetIdentity();
    Kova::addEventProperties({{"visit", number}});
    for (int minute = 0; minute < 3; ++minute) {
      fingers.touchBegan(1, {50, 25});
      fingers.touchEnded(1);
      Kova::track("Checkout",
                  {{"minute", minute}, {"plan", "a text that does not fit into a value in place"}});
      for (int pass = 0; pass < 4; ++pass) advance(15);
    }
    device.application->enterBackground();
    advance(86'400.0 / kVisits - 180);
    device.application->enterForeground();
    device.clearLog();
  }
  void advance(double seconds) {
    device.advance(seconds);
    device.settle();
  }

  SimulatedDevice device;
  UITouchInput fingers;
  std::shared_ptr<UIWindow> window;
};

}  // namespace

int main(int, char** arguments) {
  const int days = std::atoi(arguments[1]);
  Phone phone;
  int visit = 0;
  while (visit < kWarmUpDays * kVisits) phone.visit(visit++);
  const Holdings before(phone.device);
  while (visit < days * kVisits) phone.visit(visit++);
  const Holdings after(phone.device);
  const KovaCounts events = Kova::status().events;
  std::printf("%d days: %llu events, %llu delivered; bytes %+td, descriptors %+td, timers %+td, files %+td\n",
              days, static_cast<unsigned long long>(events.accepted),
              static_cast<unsigned long long>(events.delivered), after.bytes - before.bytes,
              after.descriptors - before.descriptors, after.timers - before.timers,
              after.files - before.files);
  const bool isFlat = after.bytes - before.bytes < kMore && after.descriptors <= before.descriptors + 20 &&
                      after.timers == before.timers && after.files <= before.files;
  return isFlat && !Kova::hasFailed() && events.delivered > 0 && days > kWarmUpDays ? 0 : 1;
}
