#include <stdexcept>
#include <utility>
#include <vector>

#include "platform/foundation/NSNotificationCenter.h"
#include "platform/graphics/BitmapContext.h"
#include "platform/uikit/UIKeyboard.h"
#include "tests/platform/uikit/UIKitFixture.h"

namespace platform {
namespace {

class ControlsTest : public UIKitTest {
 protected:
  ControlsTest() {
    application->connectScene(scene);
    show();
  }

  void show() {
    controller = std::make_shared<UIViewController>();
    window = UIWindow::create(scene);
    window->setRootViewController(controller);
    window->makeKeyAndVisible();
  }
  template <class T>
  std::shared_ptr<T> place(std::shared_ptr<T> view, CGRect frame) {
    view->setFrame(frame);
    controller->view()->addSubview(view);
    return view;
  }
  std::shared_ptr<UIButton> placeButton(const std::vector<std::shared_ptr<NSObject>>& targets,
                                        const char* action) {
    const auto button = place(std::make_shared<UIButton>("Buy"), CGRectMake(100, 300, 100, 40));
    for (const auto& target : targets) button->addTarget(target, SEL(action), UIControlEvents::TouchUpInside);
    return button;
  }
  void listenTo(UIControl& control, std::initializer_list<std::pair<const char*, UIControlEvents>> actions) {
    for (const auto& [action, events] : actions) control.addTarget(listener, SEL(action), events);
  }
  std::shared_ptr<UITextField> placeField(const char* name, double y) {
    const auto field = place(std::make_shared<UITextField>(), CGRectMake(20, y, 350, 34));
    field->setAccessibilityIdentifier(name);
    listenTo(*field, {{"began:", UIControlEvents::EditingDidBegin},
                      {"changed:", UIControlEvents::EditingChanged},
                      {"ended:", UIControlEvents::EditingDidEnd},
                      {"returned:", UIControlEvents::EditingDidEndOnExit}});
    return field;
  }
  std::string afterTapOn(const UIView& view, std::optional<CGRect> part = std::nullopt) {
    const CGRect rect = part.value_or(view.bounds());
    input.touchBegan(1, view.convertPointToView({CGRectGetMidX(rect), CGRectGetMidY(rect)}, nullptr));
    return after("up");
  }
  std::string afterKeys(std::initializer_list<const char*> names) {
    const auto& keys = *UIKeyboard::sharedKeyboard().layout();
    for (const char* name : names) story.text += afterTapOn(keys, keys.frameOfKey(name).value());
    return told();
  }
  static bool isKeyboardShown() {
    const auto& window = UIKeyboard::sharedKeyboard().window();
    return window && !window->isHidden();
  }

  std::shared_ptr<UIWindowScene> scene = std::make_shared<UIWindowScene>();
  std::shared_ptr<UIViewController> controller;
  std::shared_ptr<UIWindow> window;
};

TEST_F(ControlsTest, TouchesBecomeEvents) {
  const auto button = placeButton({listener}, "up:");
  listenTo(*button, {{"down:", UIControlEvents::TouchDown},
                     {"again:", UIControlEvents::TouchDownRepeat},
                     {"drag:", UIControlEvents::TouchDragInside | UIControlEvents::TouchDragOutside},
                     {"outside:", UIControlEvents::TouchUpOutside},
                     {"cancelled:", UIControlEvents::TouchCancel},
                     {"up:", UIControlEvents::TouchUpInside}});  // the last one no second time
  EXPECT_EQ(after("down 150 320, move 150 405, up"), "down:! drag:! up:") << "65 points below";
  EXPECT_EQ(after("tap 110 330, down 110 330, move 110 415, up"), "down:! up: down:! again:! drag: outside:");
  EXPECT_EQ(after("down 190 310, cancel"), "down:! cancelled:");
  EXPECT_EQ(after("down 150 320"), "down:!");
  button->setEnabled(false);  // under the finger
  EXPECT_FALSE(button->isHighlighted());
  EXPECT_EQ(after("up, tap 150 320"), "");
}

TEST_F(ControlsTest, TargetsAndControlMayGoDuringTheirActions) {
  auto first = std::make_shared<Listener>(story, "first "),
       second = std::make_shared<Listener>(story, "second ");
  auto button = placeButton({first, second, listener}, "up:");
  const std::weak_ptr<UIButton> dying = button;
  story.reactions["first up:"] = [&] {
    button->removeTarget(first.get(), SEL("up:"), UIControlEvents::TouchUpInside);
    button->removeFromSuperview();
    button.reset();
    first.reset();
    second.reset();
  };
  EXPECT_EQ(after("tap 150 320"), "first up: second up: up:");
  EXPECT_TRUE(dying.expired());

  button = placeButton({std::make_shared<Listener>(story)}, "up:");
  EXPECT_EQ(afterTapOn(*button), "") << "dead, and not taken for one that is searched along the chain";
}

TEST_F(ControlsTest, SegmentsAreSelected) {
  const std::vector<String> titles = {"Day", "Week", "Month"};
  const auto control = place(std::make_shared<UISegmentedControl>(titles), CGRectMake(30, 100, 330, 32));
  control->setAccessibilityIdentifier("range");
  control->addObserver(listener, "selectedSegmentIndex", nullptr);
  control->addTarget(listener, SEL("changed:"), UIControlEvents::ValueChanged);
  window->layoutIfNeeded();

  ASSERT_EQ(control->subviews().size(), 3u);
  const auto& second = *control->subviews()[1];
  EXPECT_EQ(second.isa().name(), "UISegment");
  EXPECT_EQ(second.subviews().at(0)->accessibilityLabel(), String("Week"));
  EXPECT_EQ(afterTapOn(second), "selectedSegmentIndex=1 changed:range");
  EXPECT_EQ(afterTapOn(second), "") << "selected already";
  control->setSelectedSegmentIndex(UISegmentedControl::kNoSegment);
  EXPECT_EQ(told(), "selectedSegmentIndex=-1") << "the app's own change sends no action";
  EXPECT_THROW(control->setSelectedSegmentIndex(3), std::out_of_range);

  control->addSegmentWithImage(nullptr);
  EXPECT_EQ(control->titleForSegmentAtIndex(2), String("Month"));
  EXPECT_EQ(control->titleForSegmentAtIndex(3), std::nullopt);
  EXPECT_THROW(control->titleForSegmentAtIndex(4), std::out_of_range);
}

TEST_F(ControlsTest, OneFieldEndsBeforeTheNextBegins) {
  const auto name = placeField("name", 100), mail = placeField("mail", 150);
  auto& center = NSNotificationCenter::defaultCenter();
  const auto ends =
      center.addObserver(UITextFieldTextDidEndEditingNotification, [&](const NSNotification& notification) {
        story.tell(notification.object == name ? "(name)" : "(mail)");
      });
  const auto shows = center.addObserver(UIWindowDidBecomeVisibleNotification,
                                        [&](const NSNotification&) { story.tell("window"); });
  EXPECT_EQ(afterTapOn(*name), "window began:name");
  EXPECT_TRUE(name->isEditing() && isKeyboardShown());
  EXPECT_EQ(afterTapOn(*mail), "ended:name (name) began:mail") << "the keyboard stays from field to field";

  EXPECT_FALSE(std::make_shared<UITextField>()->becomeFirstResponder()) << "it is in no window";
  mail->removeFromSuperview();
  EXPECT_EQ(told(), "ended:mail (mail)");
  EXPECT_FALSE(isKeyboardShown());
  EXPECT_TRUE(mail->resignFirstResponder());
  mail->setEnabled(false);
  EXPECT_FALSE(mail->becomeFirstResponder());
  EXPECT_EQ(told(), "");
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
  const auto name = placeField("name", 100), mail = placeField("mail", 150);
  name->setDelegate(delegate);
  EXPECT_EQ(afterTapOn(*name), "");
  EXPECT_FALSE(isKeyboardShown());
  delegate->mayBegin = true;
  EXPECT_EQ(afterTapOn(*name), "began:name");
  name->insertText("\n");
  EXPECT_EQ(told(), "");

  EXPECT_EQ(afterTapOn(*mail), "");
  EXPECT_TRUE(name->isEditing() && isKeyboardShown()) << "it may not end";
  name->removeFromSuperview();
  EXPECT_EQ(told(), "ended:name") << "it is not asked then";
  EXPECT_FALSE(isKeyboardShown());

  controller->view()->addSubview(name);
  EXPECT_EQ(afterTapOn(*name), "began:name");
  delegate->mayEnd = delegate->mayReturn = true;
  name->insertText("\n");
  EXPECT_EQ(told(), "returned:name ended:name");
  EXPECT_FALSE(isKeyboardShown());
}

TEST_F(ControlsTest, TheKeyboardTypes) {
  const auto field = placeField("name", 100);
  const auto button = placeButton({listener}, "up:");
  afterTapOn(*field);
  afterKeys({"shift", "a", "n", "x", "delete", "n", "space", "7"});
  EXPECT_EQ(field->text(), String("Ann 7"));

  const UIWindow& keyboard = *UIKeyboard::sharedKeyboard().window();
  EXPECT_EQ(UIKeyboard::sharedKeyboard().layout()->isa().name(), "UIKeyboardLayoutStar");
  EXPECT_EQ(keyboard.isa().name(), "UITextEffectsWindow");
  EXPECT_EQ(keyboard.rootViewController()->isa().name(), "UIInputWindowController");
  EXPECT_EQ(keyboard.windowScene(), scene);
  EXPECT_EQ(application->keyWindow(), window) << "the keyboard is never key";
  EXPECT_EQ(afterTapOn(*button), "up:") << "touches beside the keys pass";

  field->setText("e\u0301");
  EXPECT_EQ(afterKeys({"delete", "delete"}), "changed:name") << "the second time nothing was left to delete";
  EXPECT_EQ(field->text(), String(""));
  afterKeys({"return"});
  EXPECT_FALSE(isKeyboardShown());
}

TEST_F(ControlsTest, AFieldThatGoesWithItsWindowOrOutlivesItTakesTheKeyboardWithIt) {
  for (const bool outlives : {false, true}) {
    auto field = placeField("name", 100);
    EXPECT_EQ(afterTapOn(*field), "began:name");
    EXPECT_TRUE(isKeyboardShown());
    if (!outlives) field.reset();
    controller.reset();
    window.reset();
    EXPECT_FALSE(isKeyboardShown());
    if (outlives) {
      EXPECT_EQ(told(), "ended:name");
      EXPECT_FALSE(field->isEditing() || field->window());
    }
    told();
    show();
  }
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

TEST_F(UIKitTest, FieldsAndActionsWorkWithoutAnApplication) {
  UIApplication::setSharedApplication(nullptr);
  const auto window = UIWindow::create();
  const auto field = std::make_shared<UITextField>();
  window->addSubview(field);
  window->setHidden(false);
  field->addTarget(listener, SEL("began:"), UIControlEvents::EditingDidBegin);
  EXPECT_TRUE(field->becomeFirstResponder());
  UIResponder::firstResponder()->insertText("x");
  EXPECT_EQ(field->text(), String("x"));
  EXPECT_EQ(told(), "began:");
}

}  // namespace
}  // namespace platform
