#include <gtest/gtest.h>

#include <memory>

#include "platform/runtime/NSObject.h"

namespace platform {
namespace {

const char firstKey = 0;
const char secondKey = 0;

TEST(AssociatedObjects, AreHeldUnderTheirKeysAndReplaced) {
  NSObject keeper, other;
  EXPECT_EQ(associatedObject(keeper, &firstKey), nullptr);
  auto first = std::make_shared<NSObject>();
  const auto second = std::make_shared<NSObject>();
  const std::weak_ptr<NSObject> watch = first;
  setAssociatedObject(keeper, &firstKey, first);
  setAssociatedObject(keeper, &secondKey, second);
  EXPECT_EQ(associatedObject(keeper, &firstKey), std::exchange(first, nullptr));
  EXPECT_EQ(associatedObject(other, &firstKey), nullptr);
  EXPECT_FALSE(watch.expired());
  setAssociatedObject(keeper, &firstKey, second);
  EXPECT_TRUE(watch.expired());
  EXPECT_EQ(associatedObject(keeper, &firstKey), second);
  setAssociatedObject(keeper, &firstKey, nullptr);
  setAssociatedObject(other, &firstKey, nullptr);
  EXPECT_EQ(associatedObject(keeper, &firstKey), nullptr);
  EXPECT_EQ(associatedObject(keeper, &secondKey), second);
}

// On its way out, asks its keeper for itself and leaves something else there.
class Leaving : public NSObject {
  NS_OBJECT(Leaving, NSObject)

 public:
  Leaving(NSObject& keeper, bool& hasLeft) : keeper_(keeper), hasLeft_(hasLeft) {}
  ~Leaving() override {
    hasLeft_ = true;
    EXPECT_EQ(associatedObject(keeper_, &firstKey), nullptr);
    setAssociatedObject(keeper_, &secondKey, std::make_shared<NSObject>());
  }

 private:
  NSObject& keeper_;
  bool& hasLeft_;
};

TEST(AssociatedObjects, AreReleasedWithTheirKeeperWhichTheyMayStillUse) {
  bool leftAtRemoval = false;
  bool leftAtDeath = false;
  {
    NSObject keeper;
    setAssociatedObject(keeper, &firstKey, std::make_shared<Leaving>(keeper, leftAtRemoval));
    setAssociatedObject(keeper, &firstKey, nullptr);
    EXPECT_TRUE(leftAtRemoval);
    EXPECT_NE(associatedObject(keeper, &secondKey), nullptr);

    setAssociatedObject(keeper, &firstKey, std::make_shared<Leaving>(keeper, leftAtDeath));
    EXPECT_FALSE(leftAtDeath);
  }
  EXPECT_TRUE(leftAtDeath);
}

}  // namespace
}  // namespace platform
