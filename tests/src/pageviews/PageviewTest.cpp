// The pageviews that the library records for an app without view controllers.

#include <gmock/gmock.h>

#include <regex>

#include "platform/foundation/NSNotificationCenter.h"
#include "platform/uikit/UITextField.h"
#include "platform/uikit/UIViewController.h"
#include "src/core/KovaLogger.h"
#include "tests/support/Json.h"
#include "tests/support/SimulatedDevice.h"

using namespace platform;
using namespace testing;

namespace {

using platform::Value;

class PageviewTest : public testing::Test {
 protected:
  std::string withoutIds(const std::string& text) const {
    return std::regex_replace(text, std::regex("[0-9]{16}"), "ID");
  }

  SimulatedDevice device;
};

TEST_F(PageviewTest, IsSynthesizedOnceBeforeTheFirstEventsOfASession) {
  const auto options = device.options();
  options->setDebug(true);
  device.start(options);
  for (int i = 0; i < 5; ++i) Kova::track("Checkout");  // together with the installation, all in one go
  device.runUntilRequests(2);
  EXPECT_THAT(device.receivedTargets("/h"), SizeIs(1));
  EXPECT_THAT(withoutIds(device.receivedTargets("/h")[0]),
              EndsWith("&z=0&ts=1767225600000&v=ID&h=&t=&d=&y=&st=1767225600000"));
  EXPECT_THAT(device.logLinesWith("Logged view controller"),
              ElementsAre("[KOVA DEBUG]: Logged view controller with properties:"));

  const auto messages = device.receivedMessages();
  ASSERT_THAT(messages, SizeIs(6));
  const Value pageview = at(messages[0], "pageviewInfo");
  for (const Dictionary& message : messages) {
    EXPECT_EQ(json(at(message, "pageviewInfo")), json(pageview));
    EXPECT_EQ(at(message, "sessionInfo/id"), Value(*Kova::sessionId()));
  }
  EXPECT_EQ(withoutIds(json(pageview)),
            R"({"viewController":"","title":"","screenA11yId":"","screenA11yLabel":"",)"
            R"("timestamp":"1767225600000","id":"ID"})");
}

TEST_F(PageviewTest, EachSessionWithAnEventGetsOne) {
  device.startAndSettle();
  const Value first = at(device.receivedMessages()[0], "pageviewInfo/id");
  device.advance(301);
  device.settle();
  EXPECT_THAT(device.receivedTargets("/h"), SizeIs(1)) << "a session without an event needs none";
  Kova::track("Checkout");
  device.advance(15);
  device.runUntilRequests(4);
  ASSERT_THAT(device.receivedTargets("/h"), SizeIs(2));
  EXPECT_THAT(device.receivedTargets("/h")[0], HasSubstr("&z=0&ts=1767225600000&v=" + first.description()));
  EXPECT_THAT(device.receivedTargets("/h")[1], HasSubstr("&z=1&ts=1767225901000&v="));
  const Dictionary message = device.receivedMessages().back();
  EXPECT_NE(at(message, "pageviewInfo/id"), first);
  EXPECT_EQ(at(message, "sessionInfo/id"), Value(*Kova::sessionId()));
  EXPECT_EQ(at(message, "sessionInfo/timestamp"), Value("1767225901000"));

  // An app that signs its user out while he types: the session ends between the edit and its message.
  Kova::identify("ada");
  Kova::resetIdentity();
  NSNotificationCenter::defaultCenter().post(UITextFieldTextDidEndEditingNotification,
                                             std::make_shared<UITextField>());
  device.upload();
  device.upload();
  EXPECT_THAT(device.receivedTargets("/h"), SizeIs(3));
  const Dictionary edit = device.receivedMessages().back();
  EXPECT_EQ(at(edit, "event/touchEvent/type"), Value("fieldedit"));
  EXPECT_EQ(at(edit, "sessionInfo/id"), Value(*Kova::sessionId()));
}

TEST_F(PageviewTest, NoEventLeavesTheDeviceWithoutOne) {
  device.start(device.optionsWithScreens());
  Kova::track("Checkout");
  device.advance(60);
  device.application->enterBackground();
  device.settle();
  EXPECT_EQ(device.service.requestCount(), 0u);
  const Value stored = *device.stored("parts");
  for (const Value& message : stored.array()) {
    EXPECT_EQ(message.dictionary().find("pageviewInfo"), nullptr);
    EXPECT_EQ(message.dictionary().find("sessionInfo"), nullptr);
  }
  EXPECT_EQ(stored.array().size(), 2u);
}

TEST_F(PageviewTest, MessagesOfTheScreenBeforeAreBatchedAheadOfTheNext) {
  device.setOnline(false);
  device.start(device.optionsWithScreens());
  const auto numberOfBatches = [this] {
    device.drain();
    const auto stored = device.stored("queuedMessageBatches");
    return stored ? stored->array().size() : 0;
  };
  device.show(std::make_shared<UIViewController>());
  Kova::track("Checkout");
  const std::size_t before = numberOfBatches();
  device.show(std::make_shared<UIViewController>());
  EXPECT_EQ(numberOfBatches(), before + 1);
}

}  // namespace
