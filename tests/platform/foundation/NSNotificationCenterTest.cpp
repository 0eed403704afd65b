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
      told.push_back(who + " of " + notification.name + (notification.object == door ? " door" : ""));
    };
  }

  NSNotificationCenter center;
  std::vector<std::string> told;
  const std::shared_ptr<NSObject> door = std::make_shared<NSObject>();
};

TEST_F(NSNotificationCenterTest, TellsThoseWhoAskedInTheirOrder) {
  center.addObserver("opened", record("first"));
  const auto second = center.addObserver("opened", record("second"));
  center.addObserver("closed", record("third"));
  center.post("opened", door);
  for (int i = 0; i < 2; ++i) center.removeObserver(second);
  center.post("opened");
  center.post("broken");
  EXPECT_THAT(told, ElementsAre("first of opened door", "second of opened door", "first of opened"));
}

TEST_F(NSNotificationCenterTest, ObserversMayComeGoAndThrowWhileItPosts) {
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
  center.addObserver("jammed", [](const NSNotification&) { throw std::runtime_error("jammed"); });
  EXPECT_THROW(center.post("jammed"), std::runtime_error);
  center.post("nested");
  EXPECT_THAT(told, ElementsAre("inner of nested", "late of opened", "inner of nested"));
}

}  // namespace
}  // namespace platform
