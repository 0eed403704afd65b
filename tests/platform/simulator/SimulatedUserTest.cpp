#include "platform/simulator/SimulatedUser.h"

#include <gmock/gmock.h>

#include <stdexcept>

#include "platform/simulator/SimulatedScheduler.h"
#include "platform/uikit/InstallUIKit.h"
#include "platform/uikit/UIKit.h"

using namespace platform;
using testing::HasSubstr;
using testing::ThrowsMessage;

namespace {

// Counts what arrives at it.
class Form : public UIViewController {
  NS_OBJECT(Form, UIViewController)

 public:
  static void describe(ClassBuilder<Form>& c) { c.action("send:", &Form::send); }

  void loadView() override {
    const auto view = std::make_shared<UIView>();
    const auto button = std::make_shared<UIButton>("Send");
    button->setFrame(CGRectMake(20, 100, 200, 40));
    button->addTarget(shared_from_this(), SEL("send:"), UIControlEvents::TouchUpInside);
    field->setAccessibilityIdentifier("name");
    cover->setHidden(true);
    for (const auto& part : UIView::Subviews{button, field, cover}) view->addSubview(part);
    setView(view);
  }
  void send() { ++sent; }
  void motionEnded(UIEventSubtype, UIEvent*) override { ++shakes; }

  std::shared_ptr<UITextField> field = std::make_shared<UITextField>(CGRectMake(20, 160, 200, 40));
  std::shared_ptr<UIView> cover = std::make_shared<UIView>(CGRectMake(0, 0, 390, 844));
  int sent = 0;
  int shakes = 0;
};

class SimulatedUserTest : public testing::Test {
 protected:
  SimulatedUserTest() {
    installUIKit();
    UIApplication::setSharedApplication(std::make_shared<UIApplication>());
    window = UIWindow::create();
    window->setRootViewController(form);
    window->makeKeyAndVisible();
  }

  SimulatedScheduler& scheduler = SimulatedScheduler::installNew();
  std::shared_ptr<Form> form = std::make_shared<Form>();
  std::shared_ptr<UIWindow> window;
  SimulatedUser user{[this](double seconds) { scheduler.advance(seconds); }};
};

TEST_F(SimulatedUserTest, TapsWhatItSeesAndNothingElse) {
  const double before = scheduler.uptime();
  user.taps("Send");
  EXPECT_EQ(form->sent, 1);
  EXPECT_NEAR(scheduler.uptime() - before, 0.06, 1e-6);

  EXPECT_THAT([&] { user.taps("Cancel"); },
              ThrowsMessage<std::runtime_error>(AllOf(HasSubstr("\"Cancel\""), HasSubstr("\"Send\""))));
  form->cover->setHidden(false);
  EXPECT_FALSE(user.sees("Send"));
  EXPECT_THROW(user.taps("Send"), std::runtime_error);
  form->cover->removeFromSuperview();
  window->setHidden(true);
  EXPECT_FALSE(user.sees("Send"));
  EXPECT_EQ(form->sent, 1);
}

TEST_F(SimulatedUserTest, TypesIntoWhatItHasTapped) {
  EXPECT_THROW(user.types("x"), std::runtime_error);
  EXPECT_THROW(user.typesOnKeyboard("x"), std::runtime_error);
  user.taps("name");
  user.types("né ");
  user.typesOnKeyboard("Ada 1");
  EXPECT_EQ(form->field->text(), "né Ada 1");
  user.erases(6);
  EXPECT_EQ(form->field->text(), "né");
  EXPECT_THROW(user.typesOnKeyboard("%"), std::runtime_error);
}

TEST_F(SimulatedUserTest, PressesLongTapsTwiceAndShakes) {
  const auto twice = UIGestureRecognizer::create<UITapGestureRecognizer>(form.get(), SEL("send:"));
  twice->setNumberOfTapsRequired(2);
  const auto press = UIGestureRecognizer::create<UILongPressGestureRecognizer>(form.get(), SEL("send:"));
  press->setNumberOfTouchesRequired(2);
  const auto pad = std::make_shared<UIView>(CGRectMake(20, 300, 200, 200));
  pad->addGestureRecognizer(twice);
  pad->addGestureRecognizer(press);
  form->view()->insertSubview(pad, 0);
  user.doubleTaps(*pad);
  EXPECT_EQ(form->sent, 1);
  user.longPresses(*pad, 0.6, 2);
  EXPECT_EQ(form->sent, 3) << "when it began, and when it ended";
  user.longPresses(*pad, 0.4, 2);
  user.longPresses(*pad, 0.6);
  EXPECT_EQ(form->sent, 3);
  form->field->becomeFirstResponder();
  user.shakes();
  EXPECT_EQ(form->shakes, 1);
}

}  // namespace
