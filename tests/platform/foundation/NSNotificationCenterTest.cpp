#include "platform/foundation/NSNotificationCenter.h"

#include <gmock/gmock.h>

#include <stdexcept>

#include "platform/runtime/NSObject.h"

namespace platform {
namespace {

using testing::ElementsAre;

class NSNotificationCenterTest : public testing::Test {
 protected:
  NSNotificationCenter::Observer record(std::string who) {
    return [this, who](const NSNotification& notification) {
      told.push_back(who + " of " + notification.name);
      object = notification.object;
    };
  }

  NSNotificationCenter center;
  std::vector<std::string> told;
  std::shared_ptr<NSObject> object;
};

TEST_F(NSNotificationCenterTest, TellsThoseWhoAskedInTheirOrder) {
  center.addObserver("opened", record("first"));
  const auto second = center.addObserver("opened", record("second"));
  center.addObserver("closed", record("third"));
  const auto door = std::make_shared<NSObject>();
  center.post("opened", door);
  EXPECT_THAT(told, ElementsAre("first of opened", "second of opened"));
  EXPECT_EQ(object, door);
  center.removeObserver(second);
  center.removeObserver(second);
  center.post("opened");
  center.post("broken");
  EXPECT_THAT(told, ElementsAre("first of opened", "second of opened", "first of opened"));
  EXPECT_EQ(object, nullptr);
}

TEST_F(NSNotificationCenterTest, ObserversMayComeAndGoWhileItPosts) {
  NSNotificationCenter::Token token{};
  token = center.addObserver("opened", [&](const NSNotification&) {
    center.removeObserver(token);
    center.addObserver("opened", record("late"));
    center.post("nested");
  });
  center.addObserver("nested", record("inner"));
  center.post("opened");
  EXPECT_THAT(told, ElementsAre("inner of nested"));
  center.post("opened");
  EXPECT_THAT(told, ElementsAre("inner of nested", "late of opened"));
}

TEST_F(NSNotificationCenterTest, AnExceptionReachesThePoster) {
  center.addObserver("opened", [](const NSNotification&) { throw std::runtime_error("jammed"); });
  EXPECT_THROW(center.post("opened"), std::runtime_error);
  center.addObserver("closed", record("first"));
  center.post("closed");
  EXPECT_THAT(told, ElementsAre("first of closed"));
}

}  // namespace
}  // namespace platform
