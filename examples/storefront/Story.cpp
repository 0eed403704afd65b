#include "examples/storefront/Story.h"

#include <Kova/Kova.h>

#include <cstdio>
#include <stdexcept>
#include <utility>

#include "examples/storefront/RecordedLog.h"
#include "platform/dispatch/ThreadScheduler.h"

using namespace platform;

namespace {

// A touch is recorded a quarter of a second after the finger was lifted.
constexpr double kUntilAtRest = 0.4;
// How long she waits for somebody at a dashboard, in seconds.
constexpr double kPatience = 600;

}  // namespace

Story::Story(ShopApp& app, double pause)
    : app_(app),
      pause_(pause),
      user_([](double seconds) { ThreadScheduler::installed().ownRunLoop().runFor(seconds); }),
      recorded_(std::make_shared<Recorded>()) {
  RecordedLog::readBy([recorded = recorded_](std::string line) {
    MutexLock lock(recorded->mutex);
    recorded->lines.push_back(std::move(line));
  });
}

void Story::step(const std::string& what, const std::function<void()>& act) {
  std::printf("\nAda %s\n", what.c_str());
  act();
  user_.waits(kUntilAtRest + pause_);
  if (!printRecorded()) std::printf("    nothing recorded\n");
  std::fflush(stdout);
}

bool Story::printRecorded() {
  std::vector<std::string> lines;
  {
    MutexLock lock(recorded_->mutex);
    lines.swap(recorded_->lines);
  }
  for (const std::string& line : lines) std::printf("    %s\n", line.c_str());
  std::fflush(stdout);
  return !lines.empty();
}

void Story::tellOnThePhone() {
  opensTheShop();
  looksAtAProduct();
  buysIt();
  signsIn();
  leavesAndComesBack();
}

void Story::tellToSomebodyWatching(const NSURL& link) {
  opensTheShop();
  step("opens the link of a dashboard", [&] { Kova::handleOpenURL(link); });
  agreesToBeWatched();
  looksAtAProduct();
  buysIt();
  signsIn();
}

void Story::agreesToBeWatched() {
  std::printf("\nNow pair with her device in the dashboard.\n");
  std::fflush(stdout);
  const double limit = Scheduler::current().uptime() + kPatience;
  while (!user_.sees("Accept")) {
    user_.waits(kUntilAtRest);
    printRecorded();
    if (Scheduler::current().uptime() > limit) throw std::runtime_error("nobody has paired with her device");
  }
  for (const std::string& text : user_.readableTexts()) {
    if (text.starts_with("Please confirm")) std::printf("\nHer device asks: %s\n", text.c_str());
  }
  std::fflush(stdout);
  user_.waits(2 * pause_);
  step("compares the codes and taps \"Accept\"", [&] { user_.taps("Accept"); });
}

void Story::opensTheShop() {
  step("opens the shop", [&] { app_.openScene(ShopApp::frameOfScene(0, 1)); });
}

void Story::looksAtAProduct() {
  step("taps the linen shirt", [&] { user_.taps("Linen shirt"); });
  step("swipes over its picture to see another colour",
       [&] { user_.swipes(SimulatedUser::Direction::Left, *user_.findsText("Picture of Linen shirt")); });
  step("chooses the size M", [&] { user_.taps("M"); });
  step("taps \"Add to basket\"", [&] { user_.taps("Add to basket"); });
}

void Story::buysIt() {
  step("goes to the basket", [&] { user_.taps("Basket"); });
  step("taps \"Check out\"", [&] { user_.taps("Check out"); });
  step("taps her address, which is none of our business", [&] { user_.taps("12 Analytical Lane"); });
  step("enters the number of her card, which is not captured at all", [&] {
    user_.taps("Card number");
    user_.types("4111 1111 1111 1111");
  });
  step("taps \"Place order\"", [&] { user_.taps("Place order"); });
  step("reads \"Order placed\" and taps \"OK\"", [&] { user_.taps("OK"); });
}

void Story::signsIn() {
  step("goes to her account", [&] { user_.taps("Account"); });
  step("types her e-mail address on the keyboard", [&] {
    user_.taps("E-mail");
    user_.typesOnKeyboard("ada@example.com");
  });
  step("taps \"Sign in\"", [&] { user_.taps("Sign in"); });
}

void Story::leavesAndComesBack() {
  step("leaves the app", [&] { user_.leavesTheApp(); });
  step("comes back to it", [&] { user_.comesBack(); });
}

void Story::tellOnTheTablet() {
  std::shared_ptr<UIWindowScene> left;
  std::shared_ptr<UIWindowScene> right;
  step("opens the shop on her tablet", [&] { left = app_.openScene(ShopApp::frameOfScene(0, 2)); });
  step("opens it a second time beside it", [&] { right = app_.openScene(ShopApp::frameOfScene(1, 2)); });
  step("taps the mug on the left", [&] {
    user_.looksAt(left);
    user_.taps("Stoneware mug");
  });
  step("looks at the basket on the right", [&] {
    user_.looksAt(right);
    user_.taps("Basket");
  });
  step("adds the mug to the basket on the left", [&] {
    user_.looksAt(left);
    user_.taps("Add to basket");
  });
  step("checks out on the right, where the mug has come up", [&] {
    user_.looksAt(right);
    user_.taps("Check out");
  });
  step("thinks again", [&] { user_.taps("Not yet"); });
}
