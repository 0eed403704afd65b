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

TEST_F(KeyValueObserving, TellsTheNewValueOnceForEachAdditionWithItsContextUntilRemoved) {
  observe(first);
  touch->addObserver(first, "phase", &otherContext);
  touch->setPhase(Phase::ended);
  touch->didChangeValueForKey("force");
  unobserve(first);
  touch->setPhase(Phase::began);
  EXPECT_THAT(first->seen, ElementsAre("phase=3", "phase=3", "phase=0"));
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
  const auto third = std::make_shared<Watcher>();
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
  const auto third = std::make_shared<Watcher>();
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
