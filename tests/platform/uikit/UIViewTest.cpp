#include "platform/uikit/UIView.h"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <tuple>
#include <vector>

#include "platform/graphics/BitmapContext.h"
#include "platform/uikit/UIWindow.h"

using namespace platform;

namespace {

std::shared_ptr<UIView> box(CGRect frame, std::optional<UIColor> color = std::nullopt) {
  auto view = std::make_shared<UIView>(frame);
  view->setBackgroundColor(color);
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

}  // namespace

TEST(UIViewTest, OnlyWhatIsVisibleAndTakesTouchesIsHitFrontToBack) {
  const auto root = box(CGRectMake(100, 100, 200, 200)), back = box(CGRectMake(0, 0, 100, 100)),
             front = box(CGRectMake(50, 50, 100, 100));
  root->addSubview(back);
  root->addSubview(front);
  const std::tuple<std::function<void()>, CGPoint, UIView*> cases[] = {
      {[] {}, {60, 60}, front.get()},
      {[&] { root->bringSubviewToFront(*back); }, {60, 60}, back.get()},
      {[&] { back->setHidden(true); }, {60, 60}, front.get()},
      {[&] { front->setAlpha(0.009); }, {60, 60}, root.get()},
      {[&] { front->setAlpha(0.01); }, {60, 60}, front.get()},
      {[&] {
         root->setBoundsOrigin({0, 40});
       },
       {60, 45},
       root.get()},
      {[] {}, {60, 60}, front.get()},
      {[] {}, {60, 20}, nullptr},
      {[&] { front->setUserInteractionEnabled(false); }, {60, 60}, root.get()}};
  for (const auto& [change, point, hit] : cases) {
    change();
    EXPECT_EQ(root->hitTest(point, nullptr), hit);
  }
  EXPECT_EQ(front->convertPointToView({1, 1}, root.get()), (CGPoint{51, 51}));
  EXPECT_EQ(front->convertPointToView({1, 1}, back.get()), (CGPoint{51, 51}));
  EXPECT_EQ(root->convertRectFromView(CGRectMake(1, 1, 2, 2), front.get()), CGRectMake(51, 51, 2, 2));
}

TEST(UIViewTest, AViewIsInOnePlaceAndHearsOfItsWindow) {
  auto window = std::make_shared<UIWindow>(CGRectMake(0, 0, 100, 100));
  const auto a = box({}), b = box({});
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
  EXPECT_EQ(a->superview(), nullptr);
  EXPECT_EQ(a->window(), nullptr);
}

TEST(UIViewTest, ATreeOfAThousandLevelsIsHitDrawnAndReleased) {
  constexpr double kSide = 10;
  const auto root = box(CGRectMake(0, 0, kSide, kSide));
  UIView* innermost = root.get();
  for (int level = 0; level < 1000; ++level) {
    auto next = box(CGRectMake(0, 0, kSide, kSide));
    next->setClipsToBounds(level % 2 == 0);
    innermost->addSubview(next);
    innermost = next.get();
  }
  innermost->setBackgroundColor(UIColor::systemGreen());
  EXPECT_EQ(root->hitTest({5, 5}, nullptr), innermost);
  innermost->touchesBegan({}, nullptr);
  root->layoutIfNeeded();
  BitmapContext context({kSide, kSide}, 1);
  root->renderInContext(context);
  EXPECT_EQ(context.makeImage()->colorAtPixel(5, 5), UIColor::systemGreen());
}

TEST(UIViewTest, DrawsBackgroundContentsSubviewsAndBorderWithinWhatClips) {
  const auto root = box(CGRectMake(7, 7, 100, 100), UIColor::white());
  const auto clipping = box(CGRectMake(10, 10, 40, 40), UIColor::systemYellow());
  clipping->setClipsToBounds(true);
  clipping->setCornerRadius(10);
  clipping->setBorder(2, UIColor::black());
  clipping->setBoundsOrigin({0, 20});
  clipping->addSubview(box(CGRectMake(20, 40, 60, 60), UIColor::systemRed()));
  root->addSubview(clipping);
  const auto faint = box(CGRectMake(60, 10, 30, 30), UIColor::black());
  faint->setAlpha(0.5);
  faint->addSubview(box(CGRectMake(0, 0, 10, 10), UIColor::black()));
  root->addSubview(faint);
  const auto hidden = box(CGRectMake(0, 0, 100, 100), UIColor::black());
  hidden->setHidden(true);
  root->addSubview(hidden);
  const auto corner = std::make_shared<CornerView>(CGRectMake(60, 60, 30, 30));
  corner->setBackgroundColor(UIColor::lightGray());
  root->addSubview(corner);

  BitmapContext context({220, 100}, 1);
  root->renderInContext(context);
  EXPECT_TRUE(root->drawViewHierarchyInRect(CGRectMake(110, 0, 50, 50), true, context));
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
