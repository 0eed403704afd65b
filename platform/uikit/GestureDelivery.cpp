#include "platform/uikit/GestureDelivery.h"

#include <algorithm>
#include <exception>
#include <iterator>
#include <unordered_map>
#include <utility>

#include "platform/uikit/UIEvent.h"
#include "platform/uikit/UIGestureRecognizer.h"
#include "platform/uikit/UIView.h"

namespace platform {

namespace {

using Recognizers = std::vector<std::shared_ptr<UIGestureRecognizer>>;
using State = UIGestureRecognizerState;
using Touches = GestureDelivery::Touches;

constexpr UITouchPhase kPhasesOfChange[] = {UITouchPhase::Began, UITouchPhase::Moved, UITouchPhase::Ended,
                                            UITouchPhase::Cancelled};

// Runs handlers of the app to the last, whichever of them throw.
class Handlers {
 public:
  template <typename Handler>
  void run(Handler handler) {
    try {
      handler();
    } catch (...) {
      if (!first_) first_ = std::current_exception();
    }
  }
  const std::exception_ptr& thrown() const { return first_; }

 private:
  std::exception_ptr first_;
};

Touches touchesInPhase(const Touches& touches, UITouchPhase phase) {
  Touches result;
  std::copy_if(touches.begin(), touches.end(), std::back_inserter(result),
               [phase](const auto& touch) { return touch->phase() == phase; });
  return result;
}

bool isActive(const UIGestureRecognizer& recognizer) {
  return recognizer.state() == State::Began || recognizer.state() == State::Changed;
}

bool isLifted(const UITouch& touch) {
  return touch.phase() == UITouchPhase::Ended || touch.phase() == UITouchPhase::Cancelled;
}

// Innermost first.
Recognizers recognizersAround(const UIView* view) {
  Recognizers result;
  for (; view; view = view->superview()) {
    const auto& own = view->gestureRecognizers();
    std::copy_if(own.begin(), own.end(), std::back_inserter(result),
                 [](const auto& recognizer) { return recognizer->isEnabled(); });
  }
  return result;
}

}  // namespace

// A finger on the window.
struct GestureDelivery::Down {
  // Whether its view has heard of it, and may hear more.
  enum class InView { NotYet, Yes, NoMore };

  bool isWatchedBy(const UIGestureRecognizer& recognizer) const {
    return std::any_of(recognizers.begin(), recognizers.end(),
                       [&](const auto& watcher) { return watcher.get() == &recognizer; });
  }

  std::shared_ptr<UITouch> touch;
  Recognizers recognizers;
  InView inView;
};

// What happens between a change of touches, or a step of a recogniser, and the moment when everyone concerned
// has been told. Handlers may cause another round in between: nothing here points into the delivery's list
// while one of them runs.
class GestureDelivery::Round {
 public:
  explicit Round(GestureDelivery& delivery) : delivery_(delivery) {}

  void giveUpMissed(const Touches& touches);
  void comeDown(const std::shared_ptr<UITouch>& touch);
  void feed(const Touches& touches, UIEvent& event);
  void follow(const std::shared_ptr<UIGestureRecognizer>& recognizer);
  void sendActions();
  void cancelInViews(UIEvent* event);
  void lift(const Touches& touches);
  const std::exception_ptr& thrown() const { return handlers_.thrown(); }

 private:
  struct Share {
    std::shared_ptr<UIGestureRecognizer> recognizer;
    Touches touches;
  };
  std::vector<Share> sharesOf(const Touches& touches) const;
  void takeFingersOf(const std::shared_ptr<UIGestureRecognizer>& recognizer);
  void cancelInView(UIView& view, const Touches& touches, UIEvent* event);

  GestureDelivery& delivery_;
  Handlers handlers_;
  Recognizers followed_;  // whose actions may be waiting
  Touches lost_;          // to be cancelled in their views
};

GestureDelivery::GestureDelivery() = default;

GestureDelivery::~GestureDelivery() {
  for (const Down& down : down_) {
    for (const auto& recognizer : down.recognizers) recognizer->setDelivery({}, nullptr);
  }
}

GestureDelivery::Delivered GestureDelivery::deliver(const Touches& touches, UIEvent& event) {
  Round round(*this);
  round.giveUpMissed(touches);
  const Touches began = touchesInPhase(touches, UITouchPhase::Began);
  for (const auto& touch : began) round.comeDown(touch);
  for (const UITouchPhase phase : kPhasesOfChange) round.feed(touchesInPhase(touches, phase), event);
  round.sendActions();
  round.cancelInViews(&event);

  Touches forViews;
  for (const auto& touch : touches) {
    Down* const down = find(*touch);
    if (down && down->inView == Down::InView::NotYet) down->inView = Down::InView::Yes;
    // A finger that came down before this window knew of it is the views' own.
    const bool isViews = !down || down->inView == Down::InView::Yes;
    if (isViews && touch->view() && touch->phase() != UITouchPhase::Stationary) forViews.push_back(touch);
  }

  round.lift(touches);
  return {std::move(forViews), round.thrown()};
}

void GestureDelivery::recognizerStepped(const std::shared_ptr<UIGestureRecognizer>& recognizer) {
  Round round(*this);
  round.follow(recognizer);
  round.sendActions();
  round.cancelInViews(nullptr);
  if (round.thrown()) std::rethrow_exception(round.thrown());
}

GestureDelivery::Down* GestureDelivery::find(const UITouch& touch) {
  const auto found =
      std::find_if(down_.begin(), down_.end(), [&](const Down& down) { return down.touch.get() == &touch; });
  return found == down_.end() ? nullptr : &*found;
}

// Fingers whose lifting the app kept from this window: they are not in the event any more.
void GestureDelivery::Round::giveUpMissed(const Touches& touches) {
  Touches missed;
  for (const Down& down : delivery_.down_) {
    const bool isPresent = std::find(touches.begin(), touches.end(), down.touch) != touches.end();
    if (!isPresent && isLifted(*down.touch)) missed.push_back(down.touch);
  }
  for (const Share& share : sharesOf(missed)) {
    handlers_.run([&] { share.recognizer->giveUp(); });
  }
  lift(missed);
}

void GestureDelivery::Round::comeDown(const std::shared_ptr<UITouch>& touch) {
  auto& fingers = delivery_.down_;
  std::erase_if(fingers, [&](const Down& down) { return down.touch == touch; });
  const auto view = touch->view();
  const bool isSecond = view && !view->isMultipleTouchEnabled() &&
                        std::any_of(fingers.begin(), fingers.end(),
                                    [&](const Down& down) { return down.touch->view() == view; });
  Recognizers recognizers = recognizersAround(view.get());
  for (const auto& recognizer : recognizers) {
    // One that the app let finish without a finger.
    if (recognizer->numberOfTouches() == 0) handlers_.run([&] { recognizer->resetIfFinished({}); });
  }
  // One that has finished waits for its other fingers to lift.
  std::erase_if(recognizers, [](const auto& recognizer) {
    return recognizer->state() != State::Possible && !isActive(*recognizer);
  });
  fingers.push_back({touch, recognizers, isSecond ? Down::InView::NoMore : Down::InView::NotYet});
  for (const auto& recognizer : recognizers) recognizer->setDelivery({}, &delivery_);
  // What goes on already takes a further finger, too.
  for (const auto& recognizer : recognizers) {
    if (isActive(*recognizer)) takeFingersOf(recognizer);
  }
}

void GestureDelivery::Round::feed(const Touches& touches, UIEvent& event) {
  for (const Share& share : sharesOf(touches)) {
    handlers_.run([&] {
      if (share.recognizer->view()) {
        share.recognizer->deliver({}, share.touches, &event);
      } else {
        share.recognizer->giveUp();
      }
    });
    follow(share.recognizer);
  }
}

// In the order of the first finger's recognisers, then what further fingers add.
std::vector<GestureDelivery::Round::Share> GestureDelivery::Round::sharesOf(const Touches& touches) const {
  std::vector<Share> shares;
  std::unordered_map<const UIGestureRecognizer*, std::size_t> places;
  for (const auto& touch : touches) {
    const Down* const down = delivery_.find(*touch);
    if (!down) continue;
    for (const auto& recognizer : down->recognizers) {
      const auto [place, isNew] = places.try_emplace(recognizer.get(), shares.size());
      if (isNew) shares.push_back({recognizer, {}});
      shares[place->second].touches.push_back(touch);
    }
  }
  return shares;
}

void GestureDelivery::Round::follow(const std::shared_ptr<UIGestureRecognizer>& recognizer) {
  followed_.push_back(recognizer);
  if (recognizer->takeRecognized({})) takeFingersOf(recognizer);
}

// The others on its fingers fail, and their views lose them.
void GestureDelivery::Round::takeFingersOf(const std::shared_ptr<UIGestureRecognizer>& recognizer) {
  Recognizers others;
  for (Down& down : delivery_.down_) {
    if (!down.isWatchedBy(*recognizer)) continue;
    others.insert(others.end(), down.recognizers.begin(), down.recognizers.end());
    if (!recognizer->cancelsTouchesInView()) continue;
    if (std::exchange(down.inView, Down::InView::NoMore) == Down::InView::Yes) lost_.push_back(down.touch);
  }
  for (const auto& other : others) {
    handlers_.run([&] {
      if (other == recognizer || other->state() != State::Possible) return;
      if (recognizer->shouldRecognizeSimultaneouslyWith(*other)) return;
      if (other->shouldRecognizeSimultaneouslyWith(*recognizer)) return;
      other->setState(State::Failed);
    });
  }
}

void GestureDelivery::Round::sendActions() {
  for (const auto& recognizer : followed_) {
    handlers_.run([&] { recognizer->sendPendingActions({}); });
  }
}

void GestureDelivery::Round::cancelInViews(UIEvent* event) {
  while (!lost_.empty()) {
    const auto view = lost_.front()->view();
    const auto others = std::stable_partition(lost_.begin(), lost_.end(),
                                              [&](const auto& touch) { return touch->view() == view; });
    const Touches ofView(lost_.begin(), others);
    lost_.erase(lost_.begin(), others);
    if (view) cancelInView(*view, ofView, event);
  }
}

void GestureDelivery::Round::cancelInView(UIView& view, const Touches& touches, UIEvent* event) {
  std::vector<UITouchPhase> phases;
  for (const auto& touch : touches) {
    phases.push_back(touch->phase());
    handlers_.run([&] { touch->setPhase(UITouchPhase::Cancelled); });
  }
  handlers_.run([&] { view.touchesCancelled(touches, event); });
  for (std::size_t i = 0; i < touches.size(); ++i) {
    // Unless the handler let the finger go on.
    if (touches[i]->phase() != UITouchPhase::Cancelled) continue;
    handlers_.run([&] { touches[i]->setPhase(phases[i]); });
  }
}

// Lets go of the fingers that are up, and of what has finished with them.
void GestureDelivery::Round::lift(const Touches& touches) {
  for (const UITouchPhase phase : {UITouchPhase::Ended, UITouchPhase::Cancelled}) {
    const Touches lifted = touchesInPhase(touches, phase);
    const auto shares = sharesOf(lifted);
    for (const auto& touch : lifted) {
      std::erase_if(delivery_.down_, [&](const Down& down) { return down.touch == touch; });
    }
    for (const Share& share : shares) {
      handlers_.run([&] { share.recognizer->resetIfFinished({}); });
    }
  }
}

}  // namespace platform
