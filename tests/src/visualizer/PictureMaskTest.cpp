// What the pictures for a dashboard leave out, looked at pixel by pixel.

#include <Kova/KovaOptions.h>

#include "src/visualizer/KovaEventVisualizerContext.h"
#include "tests/src/autocapture/CaptureTest.h"

using namespace platform;

namespace {

class Box : public UIView {
  NS_OBJECT(Box, UIView)
 public:
  Box(CGRect frame, UIColor colour) : UIView(frame) { setBackgroundColor(colour); }
};

std::shared_ptr<Box> box(CGRect frame, UIColor colour) { return std::make_shared<Box>(frame, colour); }

std::string nameOf(UIColor colour) {
  if (colour == UIColor::systemGray()) return "covered";
  if (colour == UIColor::systemRed()) return "red";
  if (colour == UIColor::systemBlue()) return "blue";
  if (colour == UIColor::systemGreen()) return "green";
  return colour == UIColor::white() ? "white" : "?";
}

// A white screen, a red box at (10, 10) of it, a blue one in that at (20, 20) of the screen.
struct Screen {
  Screen() {
    window->setRootViewController(controller);
    controller->view()->setBackgroundColor(UIColor::white());
    controller->view()->addSubview(outer);
    outer->addSubview(inner);
    window->makeKeyAndVisible();
  }
  std::shared_ptr<const KovaEventVisualizerContext> pictures(UIView* of = nullptr) const {
    return KovaEventVisualizerContext::create(of, settings, options);
  }
  std::string seenAt(int x, int y) const { return nameOf(pictures()->fullImage()->colorAtPixel(x, y)); }
  // From outside inwards.
  std::string seen() const { return seenAt(5, 5) + ' ' + seenAt(12, 12) + ' ' + seenAt(25, 25); }
  template <class View>
  std::shared_ptr<View> replaceInner(std::shared_ptr<View> view) {
    inner->removeFromSuperview();
    view->setFrame(inner->frame());
    view->setBackgroundColor(UIColor::systemBlue());
    outer->addSubview(view);
    return view;
  }

  SimulatedDevice device;
  CaptureSettings settings;
  KovaOptions options;
  std::shared_ptr<UIWindow> window = UIWindow::create(CGRectMake(0, 0, 100, 100));
  std::shared_ptr<UIViewController> controller = std::make_shared<UIViewController>();
  std::shared_ptr<Box> outer = box(CGRectMake(10, 10, 60, 60), UIColor::systemRed());
  std::shared_ptr<Box> inner = box(CGRectMake(10, 10, 30, 30), UIColor::systemBlue());
};

struct Case {
  const char* seen;
  void (*prepare)(Screen& screen);
};

TEST(PictureMaskTest, CoversWhatIsNotCaptured) {
  const std::map<std::string, Case> cases{
      {"nothing is marked", {"white red blue", [](Screen&) {}}},
      {"ignored", {"white red covered", [](Screen& s) { setKovaIgnore(*s.inner, true); }}},
      {"text redacted", {"white red covered", [](Screen& s) { setKovaRedactText(*s.inner, true); }}},
      {"label redacted",
       {"white red covered", [](Screen& s) { setKovaRedactAccessibilityLabel(*s.inner, true); }}},
      {"an ignored ancestor", {"white covered covered", [](Screen& s) { setKovaIgnore(*s.outer, true); }}},
      {"an ignored controller",
       {"covered covered covered", [](Screen& s) { setKovaIgnore(*s.controller, true); }}},
      {"an ignored window", {"covered covered covered", [](Screen& s) { setKovaIgnore(*s.window, true); }}},
      {"inner hierarchy ignored",
       {"white red covered", [](Screen& s) { setKovaIgnoreInnerHierarchy(*s.outer, true); }}},
      {"inner hierarchy ignored by class",
       {"white red covered", [](Screen&) { setKovaIgnoreInnerHierarchyDefault(Box::classObject(), true); }}},
      {"ignored, but hidden",
       {"white red red",
        [](Screen& s) {
          setKovaIgnore(*s.inner, true);
          s.inner->setHidden(true);
        }}},
      {"a button's own label redacted",
       {"white red covered",
        [](Screen& s) {
          const auto button = s.replaceInner(std::make_shared<UIButton>("Pay"));
          setKovaRedactText(*button->titleLabel(), true);
        }}},
      {"a password",
       {"white red covered",
        [](Screen& s) { s.replaceInner(std::make_shared<UITextField>())->setSecureTextEntry(true); }}},
      {"a password that the user has had shown",
       {"white red covered",
        [](Screen& s) {
          const auto field = s.replaceInner(std::make_shared<UITextField>());
          field->setSecureTextEntry(true);
          field->setSecureTextEntry(false);
        }}},
      {"another field",
       {"white red blue", [](Screen& s) { s.replaceInner(std::make_shared<UITextField>()); }}},
  };
  for (const auto& [name, each] : cases) {
    Screen screen;
    screen.options.setMaskedPictures(true);
    each.prepare(screen);
    EXPECT_EQ(screen.seen(), each.seen) << name;
    setKovaIgnoreInnerHierarchyDefault(Box::classObject(), false);
  }
}

TEST(PictureMaskTest, CoversInPlaceAndLetsNothingOut) {
  Screen screen;
  setKovaIgnore(*screen.inner, true);
  EXPECT_EQ(screen.seen(), "white red blue") << "off unless set";
  screen.options.setMaskedPictures(true);

  // Reaches beyond the ignored box, the white screen around it included.
  screen.inner->addSubview(box(CGRectMake(-18, 0, 80, 20), UIColor::systemBlue()));
  EXPECT_EQ(screen.seenAt(15, 25), "red");
  EXPECT_EQ(screen.seenAt(5, 25), "white");

  screen.outer->addSubview(box(CGRectMake(30, 10, 30, 30), UIColor::systemGreen()));
  EXPECT_EQ(screen.seenAt(39, 39), "covered");
  EXPECT_EQ(screen.seenAt(41, 39), "green") << "what lies in front is seen";

  screen.outer->setBoundsOrigin({15, 0});
  screen.outer->setClipsToBounds(true);
  EXPECT_EQ(screen.seenAt(9, 25), "white") << "what is scrolled out is cut";
  EXPECT_EQ(screen.seenAt(11, 25), "covered");

  const auto crop = screen.pictures(screen.inner.get())->croppedImage();
  EXPECT_EQ(nameOf(crop->colorAtPixel(10, 25)), "covered");
  screen.outer->setAlpha(0.5);
  EXPECT_EQ(screen.pictures(screen.inner.get())->croppedImage()->colorAtPixel(10, 25).alpha, 1);
}

}  // namespace
