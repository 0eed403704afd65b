// Another toolkit, presented to the library through subclasses that answer from its own tree.

#include "platform/foundation/NSNotificationCenter.h"
#include "src/autocapture/UIResponder+KovaAncestry.h"
#include "tests/src/autocapture/CaptureTest.h"

using namespace platform;
using namespace testing;

namespace {

using platform::Value;

// The toolkit: widgets that know each other, and nothing of views.
struct Widget {
  std::string name = {};
  std::string text = {};
  CGRect place;
  std::shared_ptr<UIView> view = nullptr;  // how it is presented
  Widget* parent = nullptr;
  std::vector<Widget*> children = {};
};

std::optional<String> textOrNone(const std::string& text) {
  return text.empty() ? std::nullopt : std::optional(String(text));
}

// A widget as a view of the kind.
template <class Kind>
class WidgetView : public Kind {
 public:
  explicit WidgetView(const Widget& widget) : Kind(CGRect{}), widget_(widget) {}
  UIView* superview() const override { return widget_.parent ? widget_.parent->view.get() : nullptr; }
  const UIView::Subviews& subviews() const override {
    subviews_.clear();
    for (const Widget* child : widget_.children) subviews_.push_back(child->view);
    return subviews_;
  }
  UIResponder* nextResponder() const override { return superview(); }
  CGRect frame() const override { return widget_.place; }
  bool isHidden() const override { return false; }
  std::optional<String> accessibilityIdentifier() const override { return textOrNone(widget_.name); }
  std::optional<String> accessibilityLabel() const override { return std::nullopt; }

 protected:
  const Widget& widget_;

 private:
  mutable UIView::Subviews subviews_;
};
class ForeignCaption : public WidgetView<UILabel> {
  NS_OBJECT(ForeignCaption, UILabel)
 public:
  using WidgetView::WidgetView;
  std::optional<String> text() const override { return textOrNone(widget_.text); }
};
class ForeignButton : public WidgetView<UIControl> {
  NS_OBJECT(ForeignButton, UIControl)
 public:
  using WidgetView::WidgetView;
};
class ForeignInput : public WidgetView<UITextField> {
  NS_OBJECT(ForeignInput, UITextField)
 public:
  using WidgetView::WidgetView;
  std::optional<String> text() const override { return textOrNone(widget_.text); }
};

class ForeignScreen : public UIViewController {
  NS_OBJECT(ForeignScreen, UIViewController)
 public:
  static void describe(ClassBuilder<ForeignScreen>& c) {
    c.ivar("_buyButton", &ForeignScreen::buyButton).action("buy:", &ForeignScreen::buy);
  }
  std::shared_ptr<UIView> viewIfLoaded() const override { return panel; }
  std::optional<String> title() const override { return String("Shop"); }
  UIResponder* nextResponder() const override { return panel->superview(); }
  void buy(ForeignButton* sender) { bought += sender != nullptr; }
  std::shared_ptr<UIView> panel, buyButton;
  int bought = 0;
};
class ForeignPanel : public WidgetView<UIView> {
  NS_OBJECT(ForeignPanel, UIView)
 public:
  using WidgetView::WidgetView;
  UIResponder* nextResponder() const override { return screen; }
  ForeignScreen* screen = nullptr;
};

class ForeignTouch : public UITouch {
  NS_OBJECT(ForeignTouch, UITouch)
 public:
  explicit ForeignTouch(const Widget& widget) : widget_(widget) {}
  UITouchPhase phase() const override { return isUp_ ? UITouchPhase::Ended : UITouchPhase::Began; }
  std::shared_ptr<UIView> view() const override { return widget_.view; }
  std::shared_ptr<UIWindow> window() const override {
    return std::static_pointer_cast<UIWindow>(widget_.view->window()->shared_from_this());
  }
  void lift() {
    isUp_ = true;
    didChangeValueForKey("phase");
  }

 private:
  const Widget& widget_;
  bool isUp_ = false;
};
class ForeignEvent : public UIEvent {
  NS_OBJECT(ForeignEvent, UIEvent)
 public:
  explicit ForeignEvent(std::shared_ptr<UITouch> touch) : touches_{std::move(touch)} {}
  const Touches& allTouches() const override { return touches_; }

 private:
  const Touches touches_;
};

class ForeignWindow : public WidgetView<UIWindow> {
  NS_OBJECT(ForeignWindow, UIWindow)
 public:
  using WidgetView::WidgetView;
  UIResponder* nextResponder() const override { return UIWindow::nextResponder(); }
  std::shared_ptr<UIViewController> rootViewController() const override { return screen; }
  bool isKeyWindow() const override { return true; }
  // The toolkit's own dispatch: a button acts when it is let go.
  void sendEvent(UIEvent& event) override {
    const auto& touch = event.allTouches().front();
    const auto touched = std::dynamic_pointer_cast<ForeignButton>(touch->view());
    if (!touched || touch->phase() != UITouchPhase::Ended) return;
    UIApplication::sharedApplication()->sendAction(SEL("buy:"), screen.get(), touched.get(), &event);
  }
  std::shared_ptr<ForeignScreen> screen;
};
class ForeignApplication : public UIApplication {
  NS_OBJECT(ForeignApplication, UIApplication)
 public:
  std::vector<std::shared_ptr<UIWindow>> windows() const override { return {window}; }
  std::shared_ptr<UIWindow> keyWindow() const override { return window; }
  std::shared_ptr<UIWindow> window;
};

template <class View>
std::shared_ptr<View> show(Widget& widget, Widget* parent) {
  const auto view = std::make_shared<View>(widget);
  widget.view = view;
  widget.parent = parent;
  if (parent) parent->children.push_back(&widget);
  return view;
}

TEST(ForeignToolkitTest, IsCapturedWhole) {
  SimulatedDevice device;
  Widget root{.place = CGRectMake(0, 0, 320, 480)};
  Widget panel{.place = CGRectMake(0, 20, 320, 460)};
  Widget buy{.name = "buy", .place = CGRectMake(10, 30, 100, 40)};
  Widget caption{.text = "Buy now", .place = CGRectMake(5, 5, 90, 30)};
  Widget email{.name = "email", .text = "ada@example.com", .place = CGRectMake(10, 90, 100, 40)};
  const auto screen = std::make_shared<ForeignScreen>();
  const auto application = std::make_shared<ForeignApplication>();
  const auto window = show<ForeignWindow>(root, nullptr);
  const auto panelView = show<ForeignPanel>(panel, &root);
  application->window = window;
  window->screen = screen;
  panelView->screen = screen.get();
  screen->panel = panelView;
  screen->buyButton = show<ForeignButton>(buy, &panel);
  show<ForeignCaption>(caption, &buy);
  show<ForeignInput>(email, &panel);
  UIApplication::setSharedApplication(application);
  const auto options = device.optionsWithScreens();
  options->setDebug(true);
  device.start(options);

  screen->viewDidAppear(false);
  const auto touch = std::make_shared<ForeignTouch>(buy);
  const auto event = std::make_shared<ForeignEvent>(touch);
  application->sendEvent(*event);
  touch->lift();
  application->sendEvent(*event);
  EXPECT_EQ(screen->bought, 1);
  device.advance(0.24);
  EXPECT_THAT(device.logLinesWith("Logged event"), SizeIs(0));
  device.advance(0.02);
  EXPECT_THAT(device.logLinesWith("Logged event"), SizeIs(1));
  NSNotificationCenter::defaultCenter().post(UITextFieldTextDidEndEditingNotification, email.view);

  device.upload();
  EXPECT_THAT(device.receivedTargets("/h"), ElementsAre(HasSubstr("&h=ForeignScreen&t=Shop&")));
  const auto messages = device.receivedMessages();
  ASSERT_THAT(messages, SizeIs(3)) << "that of the installation first";
  const std::string around =
      R"("viewAncestry":{"ancestry":[{"class":"ForeignApplication"},{"class":"ForeignWindow"},)"
      R"({"class":"ForeignScreen"},{"class":"ForeignPanel"},)";
  EXPECT_EQ(json(at(messages[1], "event/touchEvent")),
            R"({"targetView":"ForeignButton","type":"touch","targetText":"Buy now","targetA11yId":"buy",)"
            R"("targetIvar":"buyButton","targetSelector":"buy",)" +
                around + R"({"class":"ForeignButton","accessibilityIdentifier":"buy"}]}})");
  EXPECT_EQ(json(at(messages[2], "event/touchEvent")),
            R"({"targetView":"ForeignInput","type":"fieldedit","targetText":"","targetA11yId":"email",)" +
                around + R"({"class":"ForeignInput","accessibilityIdentifier":"email"}]}})");
  for (std::size_t i : {1, 2}) {
    EXPECT_EQ(at(messages[i], "pageviewInfo/viewController"), Value("ForeignScreen"));
  }
  EXPECT_EQ(KOVA_autocaptureBoundingBox(*caption.view), CGRectMake(15, 55, 90, 30));
}

}  // namespace
