// Screens that are visible when a session begins: with another user, and with another start.

#include <gmock/gmock.h>

#include "src/core/tracker/KovaTracker.h"
#include "tests/src/pageviews/Screens.h"
#include "tests/support/Json.h"
#include "tests/support/SimulatedDevice.h"

using namespace platform;
using testing::HasSubstr;
using testing::SizeIs;

namespace {

class NewSessionTest : public testing::Test {
 protected:
  void upload() {
    device.drain();
    device.settle();
    device.advance(15);
    device.settle();
  }
  std::vector<std::string> targets() const {
    std::vector<std::string> targets;
    for (const auto& request : device.service.requests()) targets.push_back(request.target);
    return targets;
  }
  static std::string parameter(const std::string& target, const std::string& name) {
    const std::size_t begin = target.find("&" + name + "=") + name.size() + 2;
    return target.substr(begin, target.find('&', begin) - begin);
  }

  SimulatedDevice device;
};

TEST_F(NewSessionTest, AnotherUserBeginsWithAPageviewOfTheVisibleScreen) {
  device.start(device.optionsWithScreens());
  const auto window = device.show(screen("Cart"));
  Kova::identify("ada");
  upload();
  const std::size_t before = targets().size();
  Kova::identify("grace");
  Kova::track("Checkout");
  upload();
  const auto sent = targets();
  ASSERT_THAT(sent, SizeIs(before + 3)) << "pageview, identity and, somewhere beside them, the event";
  std::vector<std::string> urls;
  for (std::size_t i = before; i < sent.size(); ++i) {
    if (parameter(sent[i], "u") == *Kova::userId()) urls.push_back(sent[i]);
  }
  ASSERT_THAT(urls, SizeIs(2));
  EXPECT_THAT(urls[0], testing::AllOf(HasSubstr("/h?"), HasSubstr("&i=grace&"), HasSubstr("&z=0&")));
  EXPECT_THAT(urls[1], HasSubstr("/api/identify_v3?"));
  EXPECT_NE(parameter(urls[1], "v"), parameter(urls[0], "v"));
  const Dictionary message = device.receivedMessages().back();
  EXPECT_EQ(at(message, "user/identity"), Value("grace"));
  EXPECT_EQ(at(message, "pageviewInfo/id"), Value(parameter(urls[0], "v")));
  EXPECT_EQ(at(message, "sessionInfo/id"), Value(parameter(urls[0], "s")));
}

TEST_F(NewSessionTest, ATrackerThatWasReplacedLeavesTheScreensToTheOneInForce) {
  device.start(device.optionsWithScreens());
  const auto window = device.show(screen("Cart"));
  device.drain();
  const auto before = KovaTracker::sharedTracker();
  before->resetSession();
  device.drain();
  device.start(device.optionsWithScreens());
  Kova::track("New");
  device.drain();
  before->recordCustomEvent("Late", std::nullopt);
  upload();
  EXPECT_THAT(device.receivedTargets("/h"), SizeIs(2)) << "of the first session, and of the one in force";
}

TEST_F(NewSessionTest, AScreenThatWasShownBeforeTheStartIsToldOf) {
  const auto options = device.optionsWithScreens();
  options->setDebug(true);
  const auto lines = [this] { return device.logLinesWith("A screen was shown before").size(); };
  const auto window = device.show(screen("Cart"));
  device.start(options);
  EXPECT_EQ(lines(), 1u);
  window->setHidden(true);
  window->setHidden(false);
  device.drain();
  device.start(options);
  EXPECT_EQ(lines(), 1u) << "it has a pageview now";
}

}  // namespace
