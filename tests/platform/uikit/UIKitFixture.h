#pragma once

#include <gmock/gmock.h>

#include <functional>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <utility>

#include "platform/simulator/SimulatedScheduler.h"
#include "platform/uikit/UIKit.h"

namespace platform {

// What was told to whom, in one text; and what is to be done when a line of it is told, once.
struct Story {
  std::string between = " ";
  std::string text;
  std::map<std::string, std::function<void()>> reactions;

  void tell(const std::string& line) {
    text += (text.empty() ? "" : between) + line;
    if (const auto reaction = reactions.extract(line)) reaction.mapped()();
  }
};

// A view that tells of its touches: a word for each; with a name, of how many, and the phases of all fingers
// in the event.
class Probe : public UIView {
  NS_OBJECT(Probe, UIView)

 public:
  static constexpr const char* kPhases[] = {"began", "moved", "stationary", "ended", "cancelled"};

  Probe(Story& story, CGRect frame, std::string name = "")
      : UIView(frame), story_(story), name_(std::move(name)) {}
  static void describe(ClassBuilder<Probe>& c) {
    c.action("note", &Probe::note);
    c.action("open:", &Probe::open);
  }

  UIResponder* next = nullptr;
  bool isEditable = false;
  bool isStubborn = false;

  UIResponder* nextResponder() const override { return next ? next : UIView::nextResponder(); }
  bool canBecomeFirstResponder() const override { return isEditable; }
  bool canResignFirstResponder() const override { return !isStubborn; }
  void touchesBegan(const Touches& touches, UIEvent* e) override { tell(UITouchPhase::Began, touches, e); }
  void touchesMoved(const Touches& touches, UIEvent* e) override { tell(UITouchPhase::Moved, touches, e); }
  void touchesEnded(const Touches& touches, UIEvent* e) override { tell(UITouchPhase::Ended, touches, e); }
  void touchesCancelled(const Touches& touches, UIEvent* e) override {
    tell(UITouchPhase::Cancelled, touches, e);
  }

 private:
  void note() { story_.tell(name_ + " acted"); }
  void open(UIButton*) { story_.tell(name_ + " opened"); }
  void tell(UITouchPhase phase, const Touches& touches, UIEvent* event) {
    for (const auto& touch : touches) {
      EXPECT_EQ(touch->phase(), phase);
      if (name_.empty()) story_.tell(kPhases[int(phase)]);
    }
    if (name_.empty()) return;
    std::string line = name_ + " " + kPhases[int(phase)] + " " + std::to_string(touches.size()) + " of";
    for (const auto& touch : event->allTouches()) line += std::string(" ") + kPhases[int(touch->phase())];
    story_.tell(line);
  }

  Story& story_;
  std::string name_;
};

// The target of controls and recognisers, and an observer: tells "changed:name" or "down:!" of a control,
// with its identifier and whether it is highlighted, "act:3" of a recogniser in that state, "key=1" of a
// value.
class Listener : public NSObject {
  NS_OBJECT(Listener, NSObject)

 public:
  static constexpr const char* kActions[] = {
      "act:",       "down:",    "again:", "drag:",  "up:",      "outside:",
      "cancelled:", "changed:", "began:", "ended:", "returned:"};

  explicit Listener(Story& story, std::string name = "") : story_(story), name_(std::move(name)) {}
  static void describe(ClassBuilder<Listener>& c) {
    describeAll(c, std::make_index_sequence<std::size(kActions)>());
  }
  void observeValueForKeyPath(const std::string& key, NSObject&, const KeyValue& value,
                              const void*) override {
    story_.tell(key + "=" + std::to_string(std::get<std::int64_t>(value)));
  }

 private:
  template <std::size_t... i>
  static void describeAll(ClassBuilder<Listener>& c, std::index_sequence<i...>) {
    (c.action(kActions[i], &Listener::act<i>), ...);
  }
  template <std::size_t i>
  void act(NSObject* sender) {
    std::string line = name_ + kActions[i];
    if (auto* recognizer = dynamic_cast<UIGestureRecognizer*>(sender)) {
      line += std::to_string(int(recognizer->state()));
    } else if (auto* control = dynamic_cast<UIControl*>(sender)) {
      line += control->accessibilityIdentifier().value_or("").str() + (control->isHighlighted() ? "!" : "");
    }
    story_.tell(line);
  }

  Story& story_;
  std::string name_;
};

// An application, fingers, and what they brought about.
class UIKitTest : public testing::Test {
 public:
  inline static std::function<void()> guest;  // comes into each app, unless it is empty

 protected:
  UIKitTest() {
    UIApplication::setSharedApplication(application);
    if (guest) guest();
  }

  std::shared_ptr<UIWindow> shownWindow(UIWindowLevel level = UIWindowLevelNormal) {
    auto window = UIWindow::create();
    window->setWindowLevel(level);
    window->makeKeyAndVisible();
    return window;
  }
  template <class T>
  std::shared_ptr<T> recognizer(UIView& view) {
    auto made = UIGestureRecognizer::create<T>(listener.get(), SEL("act:"));
    view.addGestureRecognizer(made);
    return made;
  }
  std::string told() { return std::exchange(story.text, {}); }

  // What is told when fingers do this: "down 10 10, 2 down 90 10, move 20 10, wait 0.5, 2 up, tap 5 5,
  // cancel". A number in front says which finger, if it is not the first.
  std::string after(const std::string& deeds) {
    std::istringstream all(deeds);
    for (std::string deed; std::getline(all, deed, ',');) perform(std::istringstream(deed));
    return told();
  }

  SimulatedScheduler& scheduler = SimulatedScheduler::installNew();
  Story story;
  std::shared_ptr<UIApplication> application = std::make_shared<UIApplication>();
  std::shared_ptr<Listener> listener = std::make_shared<Listener>(story);
  UITouchInput input;

 private:
  void perform(std::istringstream deed) {
    int finger = 1;
    if (!(deed >> finger)) deed.clear(), finger = 1;
    std::string verb;
    double x = 0, y = 0;
    deed >> verb >> x >> y;
    if (verb == "wait") scheduler.advance(x);
    if (verb == "cancel") input.cancelAllTouches();
    if (verb == "down" || verb == "tap") input.touchBegan(finger, {x, y});
    if (verb == "move") input.touchMoved(finger, {x, y});
    if (verb == "up" || verb == "tap") input.touchEnded(finger);
  }
};

// With a view all over the window.
class PadTest : public UIKitTest {
 protected:
  PadTest() {
    pad->setMultipleTouchEnabled(true);
    window->addSubview(pad);
  }

  std::shared_ptr<UIWindow> window = shownWindow();
  std::shared_ptr<Probe> pad = std::make_shared<Probe>(story, CGRectMake(0, 0, 300, 300));
};

}  // namespace platform
