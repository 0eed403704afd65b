#include "platform/runtime/KeyValue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

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

  EXPECT_EQ(touch.valueForKey("phase"), KeyValue(std::int64_t{0}));
  EXPECT_EQ(touch.valueForKey("force"), KeyValue(2.5));
  EXPECT_EQ(touch.valueForKey("isFirst"), KeyValue(true));
  EXPECT_EQ(touch.valueForKey("name"), KeyValue());
  EXPECT_EQ(touch.valueForKey("next"), KeyValue(std::shared_ptr<NSObject>(last)));
  EXPECT_EQ(touch.valueForKey("previous"), touch.valueForKey("next"));
  EXPECT_TRUE(touch.respondsToSelector(SEL("phase")));

  last->name = "last";
  EXPECT_EQ(touch.valueForKeyPath("next.name"), KeyValue(std::string("last")));
  EXPECT_EQ(touch.valueForKeyPath("next.next.name"), KeyValue());
}

TEST(KeyValueCoding, AnUndefinedKeyIsAnErrorThatNamesIt) {
  Touch touch;
  touch.next = std::make_shared<Touch>();
  EXPECT_THROW(touch.valueForKey("velocity"), UndefinedKeyError);
  EXPECT_THROW(touch.valueForKeyPath("force.value"), UndefinedKeyError);
  EXPECT_THROW(touch.valueForKeyPath(""), UndefinedKeyError);
  EXPECT_THROW(touch.valueForKeyPath("next."), UndefinedKeyError);
  EXPECT_THROW(touch.valueForKey("broken"), std::runtime_error);
  try {
    touch.valueForKeyPath("next.velocity");
    FAIL() << "no error";
  } catch (const UndefinedKeyError& error) {
    EXPECT_THAT(error.what(), testing::AllOf(testing::HasSubstr("Touch"), testing::HasSubstr("velocity")));
  }
}

// Writes down what it is told, and then does what a test has for it to do.
class Watcher : public NSObject {
  NS_OBJECT(Watcher, NSObject)

 public:
  void observeValueForKeyPath(const std::string& keyPath, NSObject& object, const KeyValue& newValue,
                              const void* context) override {
    EXPECT_TRUE(object.isKindOfClass(Touch::classObject()));
    seen.push_back(keyPath + "=" + std::to_string(std::get<std::int64_t>(newValue)));
    contexts.push_back(context);
    if (then) then();
  }

  std::vector<std::string> seen;
  std::vector<const void*> contexts;
  std::function<void()> then;
};

const char context = 0;
const char otherContext = 0;

class KeyValueObserving : public testing::Test {
 protected:
  void observe(const std::shared_ptr<Watcher>& watcher) { touch->addObserver(watcher, "phase", &context); }
  void unobserve(const std::shared_ptr<Watcher>& watcher) {
    touch->removeObserver(*watcher, "phase", &context);
  }

  std::shared_ptr<Touch> touch = std::make_shared<LongTouch>();
  std::shared_ptr<Watcher> first = std::make_shared<Watcher>();
  std::shared_ptr<Watcher> second = std::make_shared<Watcher>();
};

TEST_F(KeyValueObserving, TellsTheNewValueOfTheKeyUntilRemoved) {
  observe(first);
  touch->setPhase(Phase::ended);
  touch->didChangeValueForKey("force");
  unobserve(first);
  touch->setPhase(Phase::began);
  EXPECT_THAT(first->seen, ElementsAre("phase=3"));
}

TEST_F(KeyValueObserving, TellsOnceForEachAdditionWithItsContext) {
  observe(first);
  touch->addObserver(first, "phase", &otherContext);
  touch->setPhase(Phase::ended);
  EXPECT_THAT(first->contexts, ElementsAre(&context, &otherContext));

  touch->removeObserver(*first, "phase", &context);
  touch->setPhase(Phase::ended);
  EXPECT_THAT(first->contexts, ElementsAre(&context, &otherContext, &otherContext));
}

TEST_F(KeyValueObserving, RefusesWhatWasNeverAddedAndKeysThatAreNot) {
  EXPECT_THROW(unobserve(first), NotAnObserverError);
  observe(first);
  EXPECT_THROW(unobserve(second), NotAnObserverError);
  EXPECT_THROW(touch->removeObserver(*first, "phase", &otherContext), NotAnObserverError);
  EXPECT_THROW(touch->removeObserver(*first, "force", &context), NotAnObserverError);
  unobserve(first);
  EXPECT_THROW(unobserve(first), NotAnObserverError);

  EXPECT_THROW(touch->addObserver(first, "velocity", nullptr), UndefinedKeyError);
  EXPECT_THROW(touch->addObserver(first, "force", nullptr), UndefinedKeyError) << "is never announced";
  EXPECT_THROW(touch->addObserver(first, "next.phase", nullptr), UndefinedKeyError);

  static std::string said;
  setRuntimeLog([](std::string_view line) noexcept { said = line; });
  touch->addObserver(std::weak_ptr<NSObject>(), "phase", nullptr);
  EXPECT_THAT(said, testing::StartsWith("Nobody observes LongTouch for phase: "));
}

TEST_F(KeyValueObserving, ObserversMayLeaveAndJoinDuringARound) {
  auto third = std::make_shared<Watcher>();
  observe(first);
  observe(second);
  first->then = [&] {
    unobserve(first);
    unobserve(second);
    observe(third);
  };
  touch->setPhase(Phase::ended);
  EXPECT_THAT(first->seen, ElementsAre("phase=3"));
  EXPECT_THAT(second->seen, ElementsAre());
  EXPECT_THAT(third->seen, ElementsAre());

  touch->setPhase(Phase::began);
  EXPECT_THAT(first->seen, ElementsAre("phase=3"));
  EXPECT_THAT(third->seen, ElementsAre("phase=0"));
}

TEST_F(KeyValueObserving, ADeadObserverIsSkippedEvenWhenItDiesDuringTheRound) {
  observe(first);
  observe(second);
  const std::weak_ptr<Watcher> watch = second;
  first->then = [&] { second.reset(); };
  touch->setPhase(Phase::ended);
  EXPECT_TRUE(watch.expired());
  touch->setPhase(Phase::began);
  EXPECT_THAT(first->seen, ElementsAre("phase=3", "phase=0"));
}

TEST_F(KeyValueObserving, TheObservedObjectMayGoWhileItTells) {
  observe(first);
  observe(second);
  const std::weak_ptr<Touch> watch = touch;
  first->then = [&] { touch.reset(); };
  touch->setPhase(Phase::ended);
  EXPECT_TRUE(watch.expired());
  EXPECT_THAT(second->seen, ElementsAre("phase=3"));
}

TEST_F(KeyValueObserving, AnObserverMayRemoveItselfFromItsDestructor) {
  class Leaving : public Watcher {
    NS_OBJECT(Leaving, Watcher)
   public:
    explicit Leaving(std::shared_ptr<Touch> touch) : touch_(std::move(touch)) {}
    ~Leaving() override { touch_->removeObserver(*this, "phase", &context); }

   private:
    std::shared_ptr<Touch> touch_;
  };
  auto leaving = std::make_shared<Leaving>(touch);
  observe(leaving);
  EXPECT_NO_THROW(leaving.reset());
  EXPECT_NO_THROW(touch->setPhase(Phase::ended));
}

}  // namespace
}  // namespace platform
