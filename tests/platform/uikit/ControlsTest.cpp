#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "platform/foundation/NSNotificationCenter.h"
#include "platform/graphics/BitmapContext.h"
#include "platform/uikit/UIApplication.h"
#include "platform/uikit/UIButton.h"
#include "platform/uikit/UIKeyboard.h"
#include "platform/uikit/UISegmentedControl.h"
#include "platform/uikit/UITextField.h"
#include "platform/uikit/UITouchInput.h"
#include "platform/uikit/UIViewController.h"
#include "platform/uikit/UIWindow.h"
#include "platform/uikit/UIWindowScene.h"

namespace platform {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Log = std::vector<std::string>;

// Writes down which of its actions were called, in a log that it shares with others.
class Clerk : public NSObject {
  NS_OBJECT(Clerk, NSObject)

 public:
  explicit Clerk(Log& log) : log_(log) {}
  static void describe(ClassBuilder<Clerk>& c) {
    c.action("down", &Clerk::down)
        .action("again", &Clerk::again)
        .action("drag", &Clerk::drag)
        .action("up:", &Clerk::up)
        .action("outside", &Clerk::outside)
        .action("cancelled", &Clerk::cancelled)
        .action("changed:", &Clerk::changed)
        .action("throwing", &Clerk::throwing)
        .action("began:", &Clerk::began)
        .action("ended:", &Clerk::ended)
        .action("returned", &Clerk::returned);
  }
  std::string name;
  std::function<void()> onUp;

  void observeValueForKeyPath(const std::string& keyPath, NSObject&, const KeyValue& value,
                              const void*) override {
    log_.push_back(keyPath + "=" + std::to_string(std::get<std::int64_t>(value)));
  }

 private:
  void down() { log_.push_back("down"); }
  void again() { log_.push_back("again"); }
  void drag() { log_.push_back("drag"); }
  void up(UIControl* sender) {
    log_.push_back(name + (sender->isHighlighted() ? "up, still highlighted" : "up"));
    if (onUp) onUp();
  }
  void outside() { log_.push_back("outside"); }
  void cancelled() { log_.push_back("cancelled"); }
  void changed(UIControl* sender) { note("changed", sender); }
  void throwing() { throw std::runtime_error("from the app"); }
  void began(UIControl* sender) { note("began", sender); }
  void ended(UIControl* sender) { note("ended", sender); }
  void returned() { log_.push_back("returned"); }
  void note(const char* what, UIControl* sender) {
    log_.push_back(std::string(what) + " " + sender->accessibilityIdentifier().value_or("").str());
  }

  Log& log_;
};

// A controller that an action may be searched up to.
class ShopController : public UIViewController {
  NS_OBJECT(ShopController, UIViewController)

 public:
  static void describe(ClassBuilder<ShopController>& c) { c.action("buy", &ShopController::buy); }
  int bought = 0;

 private:
  void buy() { ++bought; }
};

class ControlsTest : public testing::Test {
 protected:
  ControlsTest() {
    UIApplication::setSharedApplication(application_);
    application_->connectScene(scene_);
    window_ = UIWindow::create(scene_);
    window_->setRootViewController(controller_);
    window_->makeKeyAndVisible();
  }

  template <class T>
  std::shared_ptr<T> place(std::shared_ptr<T> view, CGRect frame) {
    view->setFrame(frame);
    controller_->view()->addSubview(view);
    return view;
  }
  std::shared_ptr<UITextField> placeField(const char* name, double y) {
    const auto field = place(std::make_shared<UITextField>(), CGRectMake(20, y, 350, 34));
    field->setAccessibilityIdentifier(name);
    field->addTarget(clerk_, SEL("began:"), UIControlEvents::EditingDidBegin);
    field->addTarget(clerk_, SEL("changed:"), UIControlEvents::EditingChanged);
    field->addTarget(clerk_, SEL("ended:"), UIControlEvents::EditingDidEnd);
    field->addTarget(clerk_, SEL("returned"), UIControlEvents::EditingDidEndOnExit);
    return field;
  }
  static CGPoint middleOf(const UIView& view) {
    const CGRect bounds = view.bounds();
    return view.convertPointToView({CGRectGetMidX(bounds), CGRectGetMidY(bounds)}, nullptr);
  }
  void tap(CGPoint point) {
    input_.touchBegan(1, point);
    input_.touchEnded(1);
  }
  void tap(const UIView& view) { tap(middleOf(view)); }
  void tapKey(std::string_view name) {
    const auto& keys = *UIKeyboard::sharedKeyboard().layout();
    const CGRect key = keys.frameOfKey(name).value();
    tap(keys.convertPointToView({CGRectGetMidX(key), CGRectGetMidY(key)}, nullptr));
  }
  static bool isKeyboardShown() {
    const auto& window = UIKeyboard::sharedKeyboard().window();
    return window && !window->isHidden();
  }
  Log takeLog() { return std::exchange(log_, {}); }

  Log log_;
  std::shared_ptr<UIApplication> application_ = std::make_shared<UIApplication>();
  std::shared_ptr<UIWindowScene> scene_ = std::make_shared<UIWindowScene>();
  std::shared_ptr<ShopController> controller_ = std::make_shared<ShopController>();
  std::shared_ptr<UIWindow> window_;
  std::shared_ptr<Clerk> clerk_ = std::make_shared<Clerk>(log_);
  UITouchInput input_;
};

TEST_F(ControlsTest, TouchesBecomeEvents) {
  const auto button = place(std::make_shared<UIButton>("Buy"), CGRectMake(100, 300, 100, 40));
  button->addTarget(clerk_, SEL("up:"), UIControlEvents::TouchUpInside);
  button->addTarget(clerk_, SEL("down"), UIControlEvents::TouchDown);
  button->addTarget(clerk_, SEL("again"), UIControlEvents::TouchDownRepeat);
  button->addTarget(clerk_, SEL("drag"),
                    UIControlEvents::TouchDragInside | UIControlEvents::TouchDragOutside);
  button->addTarget(clerk_, SEL("outside"), UIControlEvents::TouchUpOutside);
  button->addTarget(clerk_, SEL("cancelled"), UIControlEvents::TouchCancel);
  button->addTarget(clerk_, SEL("up:"), UIControlEvents::TouchUpInside);  // no second time

  input_.touchBegan(1, {150, 320});
  EXPECT_TRUE(button->isHighlighted());
  input_.touchMoved(1, {150, 405});  // 65 points below
  EXPECT_TRUE(button->isHighlighted());
  input_.touchEnded(1);
  EXPECT_THAT(takeLog(), ElementsAre("down", "drag", "up"));

  input_.touchBegan(1, {110, 330});
  input_.touchMoved(1, {110, 415});
  EXPECT_FALSE(button->isHighlighted());
  input_.touchEnded(1);
  const Log strayed = takeLog();
  EXPECT_EQ(strayed.front(), "down");
  EXPECT_EQ(strayed.back(), "outside");

  input_.touchBegan(1, {190, 310});
  input_.cancelAllTouches();
  EXPECT_FALSE(button->isHighlighted());
  EXPECT_EQ(takeLog().back(), "cancelled");

  input_.touchBegan(1, {150, 320});
  takeLog();
  button->setEnabled(false);  // under the finger
  EXPECT_FALSE(button->isHighlighted());
  input_.touchEnded(1);
  tap(*button);
  EXPECT_THAT(takeLog(), IsEmpty());
}

TEST_F(ControlsTest, ActionsFindTheirTargets) {
  const auto button = place(std::make_shared<UIButton>("Buy"), CGRectMake(100, 300, 100, 40));
  button->addTarget(nullptr, SEL("buy"), UIControlEvents::TouchUpInside);
  tap(*button);
  EXPECT_EQ(controller_->bought, 1) << "searched along the responder chain";
  button->removeTarget(nullptr, SEL(), UIControlEvents::TouchUpInside);
  tap(*button);
  EXPECT_EQ(controller_->bought, 1);
}

TEST_F(ControlsTest, TargetsAndControlMayGoDuringTheirActions) {
  auto button = place(std::make_shared<UIButton>("Buy"), CGRectMake(100, 300, 100, 40));
  auto first = std::make_shared<Clerk>(log_);
  auto second = std::make_shared<Clerk>(log_);
  first->name = "first ";
  second->name = "second ";
  for (const auto& target : {first, second, clerk_}) {
    button->addTarget(target, SEL("up:"), UIControlEvents::TouchUpInside);
  }
  const std::weak_ptr<UIButton> dying = button;
  first->onUp = [&] {
    button->removeTarget(first.get(), SEL("up:"), UIControlEvents::TouchUpInside);
    button->removeFromSuperview();
    button.reset();
    first.reset();
    second.reset();
  };
  tap(*button);
  EXPECT_THAT(takeLog(), ElementsAre("first up", "second up", "up"));
  EXPECT_TRUE(dying.expired());

  button = place(std::make_shared<UIButton>("Buy"), CGRectMake(100, 300, 100, 40));
  button->addTarget(std::make_shared<Clerk>(log_), SEL("up:"), UIControlEvents::TouchUpInside);
  tap(*button);
  EXPECT_THAT(takeLog(), IsEmpty()) << "dead, and not taken for one that is searched along the chain";
}

TEST_F(ControlsTest, WhatAnActionThrowsReachesTheCaller) {
  const auto button = place(std::make_shared<UIButton>("Buy"), CGRectMake(100, 300, 100, 40));
  button->addTarget(clerk_, SEL("throwing"), UIControlEvents::TouchUpInside);
  input_.touchBegan(1, middleOf(*button));
  EXPECT_THROW(input_.touchEnded(1), std::runtime_error);
  EXPECT_FALSE(button->isHighlighted());

  button->removeTarget(clerk_.get(), SEL(), UIControlEvents::TouchUpInside);
  button->addTarget(clerk_, SEL("up:"), UIControlEvents::TouchUpInside);
  tap(*button);
  EXPECT_THAT(takeLog(), ElementsAre("up")) << "the control goes on working";
}

TEST_F(ControlsTest, SegmentsAreSelected) {
  const std::vector<String> titles = {"Day", "Week", "Month"};
  const auto control = place(std::make_shared<UISegmentedControl>(titles), CGRectMake(30, 100, 330, 32));
  control->setAccessibilityIdentifier("range");
  control->addObserver(clerk_, "selectedSegmentIndex", nullptr);
  control->addTarget(clerk_, SEL("changed:"), UIControlEvents::ValueChanged);
  window_->layoutIfNeeded();

  ASSERT_EQ(control->subviews().size(), 3u);
  const auto& second = *control->subviews()[1];
  EXPECT_EQ(second.isa().name(), "UISegment");
  EXPECT_EQ(second.subviews().at(0)->accessibilityLabel(), String("Week"));
  EXPECT_EQ(window_->hitTest(middleOf(second), nullptr), control.get());

  tap(second);
  EXPECT_THAT(takeLog(), ElementsAre("selectedSegmentIndex=1", "changed range"));
  tap(second);
  EXPECT_THAT(takeLog(), IsEmpty()) << "selected already";
  control->setSelectedSegmentIndex(UISegmentedControl::kNoSegment);
  EXPECT_THAT(takeLog(), ElementsAre("selectedSegmentIndex=-1")) << "the app's own change sends no action";
  EXPECT_THROW(control->setSelectedSegmentIndex(3), std::out_of_range);

  control->addSegmentWithImage(nullptr);
  EXPECT_EQ(control->titleForSegmentAtIndex(2), String("Month"));
  EXPECT_EQ(control->titleForSegmentAtIndex(3), std::nullopt);
  EXPECT_THROW(control->titleForSegmentAtIndex(4), std::out_of_range);
}

TEST_F(ControlsTest, OneFieldEndsBeforeTheNextBegins) {
  const auto name = placeField("name", 100);
  const auto mail = placeField("mail", 150);
  auto& center = NSNotificationCenter::defaultCenter();
  const auto ends =
      center.addObserver(UITextFieldTextDidEndEditingNotification, [&](const NSNotification& notification) {
        log_.push_back(notification.object == name ? "name did end" : "mail did end");
      });
  int shown = 0;
  const auto shows =
      center.addObserver(UIWindowDidBecomeVisibleNotification, [&](const NSNotification&) { ++shown; });

  tap(*name);
  EXPECT_TRUE(name->isEditing());
  EXPECT_TRUE(isKeyboardShown());
  tap(*name);
  tap(*mail);
  EXPECT_THAT(takeLog(), ElementsAre("began name", "ended name", "name did end", "began mail"));
  EXPECT_EQ(shown, 1) << "the keyboard stays from field to field";

  EXPECT_FALSE(std::make_shared<UITextField>()->becomeFirstResponder()) << "it is in no window";
  mail->removeFromSuperview();
  EXPECT_THAT(takeLog(), ElementsAre("ended mail", "mail did end"));
  EXPECT_FALSE(isKeyboardShown());
  EXPECT_TRUE(mail->resignFirstResponder());
  EXPECT_THAT(takeLog(), IsEmpty());

  mail->setEnabled(false);
  EXPECT_FALSE(mail->becomeFirstResponder());
  center.removeObserver(ends);
  center.removeObserver(shows);
}

TEST_F(ControlsTest, TheDelegateDecides) {
  struct Delegate : UITextFieldDelegate {
    bool textFieldShouldBeginEditing(UITextField&) override { return mayBegin; }
    bool textFieldShouldEndEditing(UITextField&) override { return mayEnd; }
    bool textFieldShouldReturn(UITextField&) override { return mayReturn; }
    bool mayBegin = false, mayEnd = false, mayReturn = false;
  };
  const auto delegate = std::make_shared<Delegate>();
  const auto name = placeField("name", 100);
  const auto mail = placeField("mail", 150);
  name->setDelegate(delegate);

  tap(*name);
  EXPECT_FALSE(isKeyboardShown());
  delegate->mayBegin = true;
  tap(*name);
  name->insertText("\n");
  EXPECT_THAT(takeLog(), ElementsAre("began name"));

  tap(*mail);
  EXPECT_TRUE(name->isEditing()) << "it may not end";
  EXPECT_TRUE(isKeyboardShown());
  name->removeFromSuperview();
  EXPECT_THAT(takeLog(), ElementsAre("ended name")) << "it is not asked then";
  EXPECT_FALSE(isKeyboardShown());

  controller_->view()->addSubview(name);
  tap(*name);
  delegate->mayEnd = delegate->mayReturn = true;
  name->insertText("\n");
  EXPECT_THAT(takeLog(), ElementsAre("began name", "returned", "ended name"));
  EXPECT_FALSE(isKeyboardShown());
}

TEST_F(ControlsTest, TheKeyboardTypes) {
  const auto field = placeField("name", 100);
  const auto button = place(std::make_shared<UIButton>("Buy"), CGRectMake(20, 200, 100, 40));
  button->addTarget(clerk_, SEL("up:"), UIControlEvents::TouchUpInside);
  tap(*field);
  for (const char* key : {"shift", "a", "n", "x", "delete", "n", "space", "7"}) tapKey(key);
  EXPECT_EQ(field->text(), String("Ann 7"));

  const UIWindow& window = *UIKeyboard::sharedKeyboard().window();
  EXPECT_EQ(UIKeyboard::sharedKeyboard().layout()->isa().name(), "UIKeyboardLayoutStar");
  EXPECT_EQ(window.isa().name(), "UITextEffectsWindow");
  EXPECT_EQ(window.rootViewController()->isa().name(), "UIInputWindowController");
  EXPECT_EQ(window.windowScene(), scene_);
  EXPECT_EQ(application_->keyWindow(), window_) << "the keyboard is never key";

  takeLog();
  tap(*button);
  EXPECT_THAT(takeLog(), ElementsAre("up")) << "touches beside the keys pass";

  field->setText("e\u0301");
  tapKey("delete");
  EXPECT_EQ(field->text(), String(""));
  tapKey("delete");
  EXPECT_THAT(takeLog(), ElementsAre("changed name")) << "nothing was left to delete";
  tapKey("return");
  EXPECT_FALSE(isKeyboardShown());
}

TEST_F(ControlsTest, AFieldThatDiesTakesTheKeyboardWithIt) {
  auto field = placeField("name", 100);
  tap(*field);
  field.reset();
  controller_.reset();
  window_.reset();
  EXPECT_FALSE(isKeyboardShown());
}

TEST_F(ControlsTest, AFieldThatOutlivesItsWindowEndsEditing) {
  const auto field = placeField("name", 100);
  tap(*field);
  ASSERT_TRUE(isKeyboardShown());
  takeLog();
  controller_.reset();
  window_.reset();
  EXPECT_THAT(takeLog(), ElementsAre("ended name"));
  EXPECT_FALSE(isKeyboardShown());
  EXPECT_FALSE(field->isEditing());
  EXPECT_EQ(field->window(), nullptr);
}

TEST_F(ControlsTest, ASecureFieldNeitherShowsNorTellsItsText) {
  const auto draw = [](UITextField& field) {
    BitmapContext context({200, 34}, 1);
    field.renderInContext(context);
    return context.makeImage()->PNGRepresentation();
  };
  UITextField field(CGRectMake(0, 0, 200, 34));
  field.setSecureTextEntry(true);
  field.setText("sesame");
  const std::string first = draw(field);
  field.setText("secret");
  EXPECT_EQ(draw(field), first);
  EXPECT_EQ(field.text(), String("secret"));
  EXPECT_EQ(field.accessibilityLabel(), std::nullopt);
  field.setSecureTextEntry(false);
  EXPECT_NE(draw(field), first);
}

TEST(ControlsWithoutApplicationTest, FieldsAndActionsWork) {
  Log log;
  const auto clerk = std::make_shared<Clerk>(log);
  const auto window = UIWindow::create();
  const auto field = std::make_shared<UITextField>();
  window->addSubview(field);
  window->setHidden(false);
  field->addTarget(clerk, SEL("began:"), UIControlEvents::EditingDidBegin);
  EXPECT_TRUE(field->becomeFirstResponder());
  UIResponder::firstResponder()->insertText("x");
  EXPECT_EQ(field->text(), String("x"));
  EXPECT_EQ(log.size(), 1u);
}

}  // namespace
}  // namespace platform
