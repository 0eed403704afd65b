#include <stdexcept>
#include <tuple>
#include <vector>

#include "platform/graphics/BitmapContext.h"
#include "tests/platform/uikit/UIKitFixture.h"

using namespace platform;

namespace {

std::shared_ptr<UIView> addBox(UIView& parent, CGRect frame, std::optional<UIColor> color = std::nullopt) {
  auto view = std::make_shared<UIView>(frame);
  view->setBackgroundColor(color);
  parent.addSubview(view);
  return view;
}

// Notes the windows that it comes to; draws a blue corner.
class CornerView : public UIView {
  NS_OBJECT(CornerView, UIView)

 public:
  using UIView::UIView;
  std::vector<UIWindow*> windows;
  void didMoveToWindow() override { windows.push_back(window()); }
  void drawRect(CGRect, BitmapContext& context) override {
    context.fillRect(CGRectMake(-5, -5, 10, 10), UIColor::systemBlue());
  }
};

TEST(UIViewTest, OnlyWhatIsVisibleAndTakesTouchesIsHitFrontToBack) {
  UIView root(CGRectMake(100, 100, 200, 200));
  const auto back = addBox(root, CGRectMake(0, 0, 100, 100)),
             front = addBox(root, CGRectMake(50, 50, 100, 100));
  const CGPoint scrolled{0, 40};
  const std::tuple<std::function<void()>, CGPoint, UIView*> cases[] = {
      {[] {}, {60, 60}, front.get()},
      {[&] { root.bringSubviewToFront(*back); }, {60, 60}, back.get()},
      {[&] { back->setHidden(true); }, {60, 60}, front.get()},
      {[&] { front->setAlpha(0.009); }, {60, 60}, &root},
      {[&] { front->setAlpha(0.01); }, {60, 60}, front.get()},
      {[&] { root.setBoundsOrigin(scrolled); }, {60, 45}, &root},
      {[] {}, {60, 60}, front.get()},
      {[] {}, {60, 20}, nullptr},
      {[&] { front->setUserInteractionEnabled(false); }, {60, 60}, &root}};
  for (const auto& [change, point, hit] : cases) {
    change();
    EXPECT_EQ(root.hitTest(point, nullptr), hit);
  }
  for (const UIView* to : {&root, back.get()})
    EXPECT_EQ(front->convertPointToView({1, 1}, to), (CGPoint{51, 51}));
}

TEST(UIViewTest, AViewIsInOnePlaceAndHearsOfItsWindow) {
  auto window = std::make_shared<UIWindow>(CGRectMake(0, 0, 100, 100));
  const auto a = std::make_shared<UIView>(), b = std::make_shared<UIView>();
  const auto view = std::make_shared<CornerView>();
  a->addSubview(view);
  EXPECT_TRUE(view->windows.empty());
  window->addSubview(a);
  window->addSubview(b);
  b->insertSubview(view, 99);
  EXPECT_TRUE(a->subviews().empty());
  EXPECT_THROW(view->addSubview(b), std::invalid_argument);
  EXPECT_THROW(b->addSubview(b), std::invalid_argument);
  b->removeFromSuperview();
  EXPECT_EQ(view->windows, (std::vector<UIWindow*>{window.get(), nullptr}));
  window.reset();
  EXPECT_TRUE(!a->superview() && !a->window());
}

TEST(UIViewTest, ATreeOfAThousandLevelsIsHitDrawnAndReleased) {
  const CGRect frame = CGRectMake(0, 0, 10, 10);
  UIView root(frame);
  UIView* innermost = &root;
  for (int level = 0; level < 1000; ++level) {
    innermost = addBox(*innermost, frame).get();
    innermost->setClipsToBounds(level % 2 == 0);
  }
  innermost->setBackgroundColor(UIColor::systemGreen());
  EXPECT_EQ(root.hitTest({5, 5}, nullptr), innermost);
  innermost->touchesBegan({}, nullptr);
  root.layoutIfNeeded();
  BitmapContext context(frame.size, 1);
  root.renderInContext(context);
  EXPECT_EQ(context.makeImage()->colorAtPixel(5, 5), UIColor::systemGreen());
}

TEST(UIViewTest, DrawsBackgroundContentsSubviewsAndBorderWithinWhatClips) {
  UIView root(CGRectMake(7, 7, 100, 100));
  root.setBackgroundColor(UIColor::white());
  const auto clipping = addBox(root, CGRectMake(10, 10, 40, 40), UIColor::systemYellow());
  clipping->setClipsToBounds(true);
  clipping->setCornerRadius(10);
  clipping->setBorder(2, UIColor::black());
  clipping->setBoundsOrigin({0, 20});
  addBox(*clipping, CGRectMake(20, 40, 60, 60), UIColor::systemRed());
  const auto faint = addBox(root, CGRectMake(60, 10, 30, 30), UIColor::black());
  faint->setAlpha(0.5);
  addBox(*faint, CGRectMake(0, 0, 10, 10), UIColor::black());
  addBox(root, CGRectMake(0, 0, 100, 100), UIColor::black())->setHidden(true);
  const auto corner = std::make_shared<CornerView>(CGRectMake(60, 60, 30, 30));
  corner->setBackgroundColor(UIColor::lightGray());
  root.addSubview(corner);

  BitmapContext context({220, 100}, 1);
  root.renderInContext(context);
  EXPECT_TRUE(root.drawViewHierarchyInRect(CGRectMake(110, 0, 50, 50), true, context));
  const auto image = context.makeImage();
  const std::tuple<int, int, UIColor> pixels[] = {
      {0, 0, UIColor::white()},
      {10, 10, UIColor::white()},               // outside of the rounded corner
      {11, 30, UIColor::black()},               // border
      {20, 20, UIColor::systemYellow()},        // background
      {40, 40, UIColor::systemRed()},           // scrolled subview
      {49, 35, UIColor::black()},               // border above it
      {52, 35, UIColor::white()},               // clipped
      {62, 62, UIColor::systemBlue()},          // own contents
      {58, 58, UIColor::white()},               // which end at the bounds
      {110 + 10, 10, UIColor::systemYellow()},  // at half the size
      {170, 10, UIColor::clear()}};
  for (const auto& [x, y, color] : pixels) EXPECT_EQ(image->colorAtPixel(x, y), color) << x << " " << y;
  // One layer: what is inside of the faint view does not show through itself.
  EXPECT_NEAR(image->colorAtPixel(65, 15).red, 0.5, 0.01);
  EXPECT_EQ(image->colorAtPixel(65, 15), image->colorAtPixel(85, 35));
}

}  // namespace
