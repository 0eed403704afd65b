// Screens that are visible when a session begins: with another user, and with another start.

#include "src/core/tracker/KovaTracker.h"
#include "tests/src/autocapture/CaptureTest.h"

using namespace platform;
using namespace testing;

namespace {

using platform::Value;

class NewSessionTest : public testing::Test {
 protected:
  static std::string parameter(const std::string& target, const std::string& name) {
    const std::size_t begin = target.find("&" + name + "=") + name.size() + 2;
    return target.substr(begin, target.find('&', begin) - begin);
  }

  SimulatedDevice device;
  std::shared_ptr<KovaOptions> options = device.optionsWithScreens();
};

TEST_F(NewSessionTest, AnotherUserBeginsWithAPageviewOfTheVisibleScreen) {
  device.start(options);
  const auto window = device.show(screen("Cart"));
  Kova::identify("ada");
  device.upload();
  Kova::identify("grace");
  Kova::track("Checkout");
  device.upload();
  std::vector<std::string> urls;
  for (const auto& request : device.service.requests()) {
    if (parameter(request.target, "u") == *Kova::userId()) urls.push_back(request.target);
  }
  ASSERT_THAT(urls, ElementsAre(AllOf(HasSubstr("/h?"), HasSubstr("&i=grace&"), HasSubstr("&z=0&")),
                                HasSubstr("/api/identify_v3?")));
  EXPECT_NE(parameter(urls[1], "v"), parameter(urls[0], "v"));
  const Dictionary message = device.receivedMessages().back();
  EXPECT_EQ(at(message, "user/identity"), Value("grace"));
  EXPECT_EQ(at(message, "pageviewInfo/id"), Value(parameter(urls[0], "v")));
  EXPECT_EQ(at(message, "sessionInfo/id"), Value(parameter(urls[0], "s")));
}

TEST_F(NewSessionTest, ATrackerThatWasReplacedLeavesTheScreensToTheOneInForce) {
  device.start(options);
  const auto window = device.show(screen("Cart"));
  device.drain();
  const auto before = KovaTracker::sharedTracker();
  before->resetSession();
  device.drain();
  device.start(options);
  Kova::track("New");
  device.drain();
  before->recordCustomEvent("Late", std::nullopt);
  device.upload();
  EXPECT_EQ(device.receivedTargets("/h").size(), 2u) << "of the first session, and of the one in force";
}

TEST_F(NewSessionTest, AScreenThatWasShownBeforeTheStartIsToldOf) {
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
