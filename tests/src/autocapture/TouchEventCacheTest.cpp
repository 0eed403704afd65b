// Touch events that wait for the action of their touch.

#include "src/autocapture/KITouchEventCache.h"

#include "src/core/KovaUtil.h"
#include "src/identity/KISessionManager.h"
#include "tests/src/autocapture/CaptureFixture.h"

using namespace platform;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

class TouchEventCacheTest : public testing::Test {
 protected:
  std::shared_ptr<UITouch> touchOn(const std::shared_ptr<UIView>& view) const {
    const auto touch = std::make_shared<UITouch>();
    touch->setTarget(nullptr, view);
    return touch;
  }
  std::shared_ptr<KITouchEvent> eventOf(const std::shared_ptr<UITouch>& touch) const {
    return KITouchEvent::create("touch", touch->view(), touch, std::nullopt, KITouchEvent::ViewAncestry::Omit,
                                kAppVisibilityStateForeground, 0, settings);
  }
  // It is in `removed` once it has left.
  void add(const std::shared_ptr<KITouchEvent>& event) {
    cache->addTouchEvent(event, [this, event] { removed.push_back(event); });
  }

  SimulatedDevice device;
  CaptureSettings settings;
  std::shared_ptr<UIButton> button = std::make_shared<UIButton>();
  std::shared_ptr<KITouchEventCache> cache = std::make_shared<KITouchEventCache>(0.25, 10.0);
  std::vector<std::shared_ptr<KITouchEvent>> removed;
};

TEST_F(TouchEventCacheTest, AnEventLeavesAQuarterOfASecondAfterItsTouchHasEnded) {
  const auto touch = touchOn(button);
  const auto other = touchOn(button);
  add(eventOf(touch));
  add(eventOf(other));
  device.advance(3);
  touch->setPhase(UITouchPhase::Moved);
  device.advance(3);
  EXPECT_THAT(removed, IsEmpty());
  touch->setPhase(UITouchPhase::Ended);
  device.advance(0.24);
  EXPECT_THAT(removed, IsEmpty());
  device.advance(0.02);
  ASSERT_THAT(removed, SizeIs(1));
  EXPECT_EQ(removed[0]->touch(), touch);

  const auto over = touchOn(button);
  over->setPhase(UITouchPhase::Ended);
  add(eventOf(over));
  device.advance(0.26);
  EXPECT_THAT(removed, SizeIs(2));

  // Cancelled or held, the other one waits for the longer time; what its touch does later is of no interest.
  other->setPhase(UITouchPhase::Cancelled);
  device.advance(3.4);
  EXPECT_THAT(removed, SizeIs(2));
  device.advance(0.1);
  EXPECT_THAT(removed, SizeIs(3));
  other->setPhase(UITouchPhase::Ended);
  device.advance(20);
  EXPECT_THAT(removed, SizeIs(3));
  EXPECT_EQ(device.scheduler.pendingTimerCount(), 0u);
}

TEST_F(TouchEventCacheTest, EventsAreFoundByTouchOrElseByControl) {
  const auto label = std::make_shared<UILabel>("Pay");
  button->addSubview(label);
  const auto first = touchOn(button);
  const auto second = touchOn(label);
  const auto elsewhere = touchOn(std::make_shared<UIButton>());
  const std::vector events{eventOf(first), eventOf(second), eventOf(elsewhere)};
  for (const auto& event : events) add(event);
  EXPECT_THAT(cache->eventsWithTouchIfPresent(second.get(), nullptr), ElementsAre(events[1]));
  EXPECT_THAT(cache->eventsWithTouchIfPresent(nullptr, button.get()), ElementsAre(events[0], events[1]));
  EXPECT_THAT(cache->eventsWithTouchIfPresent(touchOn(button).get(), button.get()), IsEmpty());
  EXPECT_THAT(cache->eventsWithTouchIfPresent(nullptr, nullptr), IsEmpty());
  EXPECT_EQ(cache->allEvents(), events);
}

TEST_F(TouchEventCacheTest, EachEventLeavesOnceWhateverItsCallbackDoes) {
  const auto event = eventOf(touchOn(button));
  std::shared_ptr<KITouchEventCache::Entry> entry;
  int calls = 0;
  entry = cache->addTouchEvent(event, [&] {
    ++calls;
    EXPECT_THAT(cache->allEvents(), testing::Contains(event));
    cache->removeEntry(entry);
    cache->removeAllEntries();
    throw std::runtime_error("out of the callback");
  });
  add(eventOf(touchOn(button)));
  device.advance(10.1);
  cache->removeEntry(entry);
  EXPECT_EQ(calls, 1);
  EXPECT_THAT(removed, SizeIs(1));
  EXPECT_THAT(cache->allEvents(), IsEmpty());
}

// A session whose first pageview comes while a touch waits: the touch belongs to that one, not to a later
// one.
TEST_F(TouchEventCacheTest, TouchesThatWaitGetTheSessionsFirstPageview) {
  const auto options = device.optionsWithScreens();
  device.start(options);
  const auto window = device.show(nullptr);
  window->addSubview(button);
  button->setFrame(CGRectMake(10, 10, 100, 40));
  UITouchInput input;
  input.touchBegan(1, {20, 20}, window);
  device.drain();
  std::make_shared<CartController>()->viewDidAppear(false);
  device.drain();
  std::make_shared<UIViewController>()->viewDidAppear(false);
  Kova::addEventProperties({{"later", true}});
  device.drain();
  input.touchEnded(1);
  device.advance(1);
  device.settle();
  device.advance(15);
  device.settle();
  const auto messages = device.receivedMessages();
  ASSERT_THAT(messages, SizeIs(2));
  const Dictionary touch = messages[1];
  EXPECT_EQ(at(touch, "event/touchEvent/targetView"), Value("UIButton"));
  EXPECT_EQ(at(touch, "pageviewInfo/viewController"), Value("CartController"));
  EXPECT_EQ(at(touch, "sessionInfo/id"), Value(*Kova::sessionId()));
  EXPECT_TRUE(at(touch, "properties").isNull()) << "what the touch had stays as it was";

  // Nor to a session that begins while it waits, which has no event and so gets no pageview.
  options->setTestOnlySessionExpirationInterval(5.0);
  const auto visible = device.show(std::make_shared<CartController>());
  input.touchBegan(1, {20, 20}, window);
  device.advance(6);
  input.touchEnded(1);
  for (int pass = 0; pass < 2; ++pass) {
    device.advance(15);
    device.settle();
  }
  const Dictionary later = device.receivedMessages().back();
  EXPECT_NE(at(later, "id"), at(touch, "id"));
  EXPECT_EQ(at(later, "sessionInfo/id"), at(touch, "sessionInfo/id"));
  EXPECT_NE(at(later, "sessionInfo/id"), Value(*Kova::sessionId()));
  EXPECT_THAT(device.receivedTargets("/h"),
              Each(testing::HasSubstr("&s=" + at(touch, "sessionInfo/id").description())));
}

}  // namespace
