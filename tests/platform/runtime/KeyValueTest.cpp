#include "platform/runtime/KeyValue.h"

#include <gmock/gmock.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/runtime/NSObject.h"
#include "platform/runtime/RuntimeLog.h"

namespace platform {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

enum class Phase { began = 0, ended = 3 };

class Touch : public NSObject {
  NS_OBJECT(Touch, NSObject)

 public:
  static void describe(ClassBuilder<Touch>& c) {
    c.observableKey("phase", &Touch::phase)
        .key("force", &Touch::force)
        .key("name", &Touch::name)
        .key("isFirst", &Touch::isFirst)
        .key("next", &Touch::next)
        .key("previous", &Touch::previous)
        .key("broken", [](const Touch&) -> bool { throw std::runtime_error("broken key"); });
  }

  Phase phase() const { return phase_; }
  void setPhase(Phase phase) {
    phase_ = phase;
    didChangeValueForKey("phase");
  }

  float force = 2.5;
  bool isFirst = true;
  std::optional<std::string> name;
  std::shared_ptr<Touch> next;
  Touch* previous = nullptr;

 private:
  Phase phase_ = Phase::began;
};

class LongTouch : public Touch {
  NS_OBJECT(LongTouch, Touch)

 public:
  // What is announced above is announced here, whatever the class says of the key itself.
  static void describe(ClassBuilder<LongTouch>& c) { c.key("phase", &LongTouch::phase); }
};

TEST(KeyValueCoding, ReadsEveryKindOfValueAndFollowsPaths) {
  auto last = std::make_shared<Touch>();
  LongTouch touch;
  touch.next = last;
  touch.previous = last.get();

  last->name = "last";
  const KeyValue next(std::static_pointer_cast<NSObject>(last));
  const std::pair<const char*, KeyValue> cases[] = {{"phase", std::int64_t{0}},
                                                    {"force", 2.5},
                                                    {"isFirst", true},
                                                    {"name", {}},
                                                    {"next", next},
                                                    {"previous", next},
                                                    {"next.name", std::string("last")},
                                                    {"next.next.name", {}}};
  for (const auto& [path, value] : cases) EXPECT_EQ(touch.valueForKeyPath(path), value) << path;
  EXPECT_EQ(touch.valueForKey("force"), KeyValue(2.5));
  EXPECT_TRUE(touch.respondsToSelector(SEL("phase")));
}

TEST(KeyValueCoding, AnUndefinedKeyIsAnErrorThatNamesIt) {
  Touch touch;
  touch.next = std::make_shared<Touch>();
  EXPECT_THROW(touch.valueForKey("velocity"), UndefinedKeyError);
  for (const char* path : {"force.value", "", "next."}) {
    EXPECT_THROW(touch.valueForKeyPath(path), UndefinedKeyError) << path;
  }
  EXPECT_THROW(touch.valueForKey("broken"), std::runtime_error);
  EXPECT_THAT([&] { touch.valueForKeyPath("next.velocity"); },
              testing::ThrowsMessage<UndefinedKeyError>(AllOf(HasSubstr("Touch"), HasSubstr("velocity"))));
}

// Writes down what it is told, and then does what a test has for it to do.
class Watcher : public NSObject {
  NS_OBJECT(Watcher, NSObject)

 public:
  void observeValueForKeyPath(const std::string& keyPath, NSObject& object, const KeyValue& newValue,
                              const void* context) override {
    EXPECT_TRUE(object.isKindOfClass(Touch::classObject()));
    seen.push_back(keyPath + "=" + std::to_string(std::get<std::int64_t>(newValue)) +
                   static_cast<const char*>(context));
    if (then) then();
  }

  std::vector<std::string> seen;
  std::function<void()> then;
};

constexpr char context[] = "";
constexpr char otherContext[] = " for the other";

class KeyValueObserving : public testing::Test {
 protected:
  void observe(const std::shared_ptr<Watcher>& watcher) { touch->addObserver(watcher, "phase", context); }
  void unobserve(const std::shared_ptr<Watcher>& watcher) {
    touch->removeObserver(*watcher, "phase", context);
  }

  std::shared_ptr<Touch> touch = std::make_shared<LongTouch>();
  std::shared_ptr<Watcher> first = std::make_shared<Watcher>();
  std::shared_ptr<Watcher> second = std::make_shared<Watcher>();
  std::shared_ptr<Watcher> third = std::make_shared<Watcher>();
};

TEST_F(KeyValueObserving, TellsTheNewValueOnceForEachAdditionWithItsContextUntilRemoved) {
  observe(first);
  touch->addObserver(first, "phase", otherContext);
  touch->setPhase(Phase::ended);
  touch->didChangeValueForKey("force");
  unobserve(first);
  touch->setPhase(Phase::began);
  EXPECT_THAT(first->seen, ElementsAre("phase=3", "phase=3 for the other", "phase=0 for the other"));
}

TEST_F(KeyValueObserving, RefusesWhatWasNeverAddedAndKeysThatAreNot) {
  EXPECT_THROW(unobserve(first), NotAnObserverError);
  observe(first);
  EXPECT_THROW(unobserve(second), NotAnObserverError);
  EXPECT_THROW(touch->removeObserver(*first, "phase", otherContext), NotAnObserverError);
  EXPECT_THROW(touch->removeObserver(*first, "force", context), NotAnObserverError);
  unobserve(first);
  EXPECT_THROW(unobserve(first), NotAnObserverError);

  for (const char* key : {"velocity", "force", "next.phase"})
    EXPECT_THROW(touch->addObserver(first, key, nullptr), UndefinedKeyError) << key << " is never announced";

  static std::string said;
  setRuntimeLog([](std::string_view line) noexcept { said = line; });
  touch->addObserver(std::weak_ptr<NSObject>(), "phase", nullptr);
  EXPECT_THAT(said, testing::StartsWith("Nobody observes LongTouch for phase: "));
}

TEST_F(KeyValueObserving, ObserversMayLeaveAndJoinDuringARound) {
  observe(first);
  observe(second);
  first->then = [&] {
    unobserve(first);
    unobserve(second);
    observe(third);
  };
  touch->setPhase(Phase::ended);
  touch->setPhase(Phase::began);
  EXPECT_THAT(first->seen, ElementsAre("phase=3"));
  EXPECT_THAT(second->seen, ElementsAre());
  EXPECT_THAT(third->seen, ElementsAre("phase=0"));
}

TEST_F(KeyValueObserving, ObserverAndObservedMayDieDuringTheRound) {
  for (const auto& watcher : {first, second, third}) observe(watcher);
  const std::weak_ptr<Watcher> dyingObserver = second;
  const std::weak_ptr<Touch> dyingTouch = touch;
  first->then = [&] { second.reset(); };
  touch->setPhase(Phase::ended);
  EXPECT_TRUE(dyingObserver.expired());
  first->then = [&] { touch.reset(); };
  touch->setPhase(Phase::began);
  EXPECT_TRUE(dyingTouch.expired());
  for (const auto& watcher : {first, third}) EXPECT_THAT(watcher->seen, ElementsAre("phase=3", "phase=0"));
}

TEST_F(KeyValueObserving, AnObserverMayRemoveItselfFromItsDestructor) {
  class Leaving : public Watcher {
    NS_OBJECT(Leaving, Watcher)
   public:
    explicit Leaving(Touch& touch) : touch_(touch) {}
    ~Leaving() override { touch_.removeObserver(*this, "phase", context); }

   private:
    Touch& touch_;
  };
  observe(std::make_shared<Leaving>(*touch));
  EXPECT_NO_THROW(touch->setPhase(Phase::ended));
}

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
