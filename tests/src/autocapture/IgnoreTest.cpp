// The flags that keep a part of an app out of what is captured, and how they combine.

#include "src/autocapture/UIResponder+KovaIgnore.h"
#include "src/core/KovaLogger.h"
#include "tests/src/autocapture/CaptureFixture.h"

using namespace platform;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class MapView : public UIView {
  NS_OBJECT(MapView, UIView)
};
class CityMapView : public MapView {
  NS_OBJECT(CityMapView, MapView)
};

// A responder of a host that closed its chain into a circle.
class CircularResponder : public UIView {
  NS_OBJECT(CircularResponder, UIView)

 public:
  UIResponder* nextResponder() const override { return const_cast<CircularResponder*>(this); }
  UIView* superview() const override { return const_cast<CircularResponder*>(this); }
};

// Leaves its ignored superview, which nobody else keeps, while its label is read.
class LeavingView : public UIView {
  NS_OBJECT(LeavingView, UIView)

 public:
  std::optional<String> accessibilityLabel() const override {
    if (UIView* const around = superview()) around->removeFromSuperview();
    return String("gone");
  }
};

TEST(IgnoreTest, EachFlagIsItsOwnBit) {
  UIView view;
  EXPECT_FALSE(KOVA_shouldCheckIgnore());
  setKovaIgnore(view, false);
  EXPECT_FALSE(KOVA_shouldCheckIgnore()) << "no rule has been set yet";

  setKovaIgnore(view, true);
  setKovaRedactText(view, true);
  setKovaRedactAccessibilityLabel(view, true);
  setKovaIgnoreInnerHierarchy(view, true);
  EXPECT_EQ(KOVA_ignoreRules(view), 1u + 2 + 4 + 8);
  EXPECT_TRUE(kovaIgnore(view) && kovaRedactText(view) && kovaRedactAccessibilityLabel(view) &&
              kovaIgnoreInnerHierarchy(view));
  EXPECT_TRUE(KOVA_hasAllIgnoreRules(view, 1 | 8));
  EXPECT_FALSE(KOVA_hasAllIgnoreRules(view, 1 | 16));

  setKovaRedactText(view, false);
  EXPECT_EQ(KOVA_ignoreRules(view), 1u + 4 + 8);
  KOVA_setIgnoreRules(view, 0);
  EXPECT_FALSE(kovaIgnore(view) || kovaIgnoreInnerHierarchy(view));
  EXPECT_TRUE(KOVA_shouldCheckIgnore()) << "never goes back";
}

TEST(IgnoreTest, AClassMayHideItsInnerViews) {
  const auto inner = std::make_shared<UIView>();
  const auto middle = viewWith({inner});
  const auto map = std::make_shared<CityMapView>();
  const auto outer = viewWith({map});
  map->addSubview(middle);
  EXPECT_TRUE(KOVA_isVisibleInHierarchy(*inner));

  setKovaIgnoreInnerHierarchyDefault(MapView::classObject(), true);
  EXPECT_TRUE(kovaIgnoreInnerHierarchy(*map)) << "inherited";
  EXPECT_FALSE(kovaIgnoreInnerHierarchy(*outer));
  EXPECT_FALSE(KOVA_isVisibleInHierarchy(*inner));
  EXPECT_TRUE(KOVA_isVisibleInHierarchy(*map)) << "what is inside is hidden, not the view itself";
  EXPECT_EQ(&KOVA_closestViewVisibleInHierarchy(*inner), map.get());
  EXPECT_EQ(&KOVA_closestViewVisibleInHierarchy(*outer), outer.get());

  setKovaIgnoreInnerHierarchy(*map, false);
  EXPECT_EQ(KOVA_ignoreRules(*map), 16u);
  EXPECT_EQ(&KOVA_closestViewVisibleInHierarchy(*inner), inner.get());
  setKovaIgnoreInnerHierarchy(*map, true);
  EXPECT_EQ(KOVA_ignoreRules(*map), 0u);

  setKovaIgnoreInnerHierarchy(*outer, true);
  setKovaIgnoreInnerHierarchy(*inner, true);
  EXPECT_EQ(&KOVA_closestViewVisibleInHierarchy(*inner), outer.get()) << "the outermost";

  setKovaIgnoreInnerHierarchyDefault(CityMapView::classObject(), false);
  EXPECT_FALSE(kovaIgnoreInnerHierarchy(*map));
  setKovaIgnoreInnerHierarchyDefault(CityMapView::classObject(), true);
  EXPECT_TRUE(kovaIgnoreInnerHierarchy(*map)) << "the latest answer counts";
  setKovaIgnoreInnerHierarchyDefault(NSObject::classObject(), true);
  EXPECT_FALSE(kovaIgnoreInnerHierarchyDefault(*inner)) << "a class that is no responder";
}

TEST(IgnoreTest, RulesCombineUpToTheResponderThatMatches) {
  const auto controller = std::make_shared<CartController>();
  const auto inner = std::make_shared<UIView>();
  const auto row = viewWith({inner});
  controller->view()->addSubview(row);
  UIResponder* source = row.get();
  EXPECT_EQ(KOVA_findCombinedIgnoreRules(inner.get(), 1, &source), 0u);
  EXPECT_EQ(source, nullptr);

  setKovaRedactText(*row, true);
  setKovaRedactAccessibilityLabel(*controller, true);
  EXPECT_EQ(KOVA_findCombinedIgnoreRules(inner.get(), 1, &source), 2u + 4);
  EXPECT_EQ(source, nullptr);
  EXPECT_EQ(KOVA_findCombinedIgnoreRules(inner.get(), 2, &source), 2u);
  EXPECT_EQ(source, row.get());

  setKovaIgnore(*controller, true);
  UIView other;
  setKovaRedactText(other, true);
  EXPECT_EQ(KOVA_touchEventIgnoreRules(&other, inner.get()), 1u + 2 + 4);
  EXPECT_EQ(KOVA_touchEventIgnoreRules(nullptr, &other), 2u);
  EXPECT_EQ(KOVA_touchEventIgnoreRules(nullptr, nullptr), 0u);
  const auto circular = std::make_shared<CircularResponder>();
  EXPECT_EQ(KOVA_findCombinedIgnoreRules(circular.get(), 1, &source), 0u);
  EXPECT_EQ(&KOVA_closestViewVisibleInHierarchy(*circular), circular.get());
}

TEST(IgnoreTest, TheDebugLogSaysWhatIsIgnoredAndWhy) {
  SimulatedDevice device;
  const auto button = std::make_shared<UIButton>("Pay");
  button->setAccessibilityIdentifier("pay");
  const auto row = viewWith({button});
  setKovaIgnore(*row, true);
  KOVA_touchEventIgnoreRules(button.get(), nullptr);
  EXPECT_THAT(device.log(), IsEmpty());

  KovaLogger::sharedInstance().setLogLevel(1);
  KOVA_touchEventIgnoreRules(button.get(), nullptr);
  KOVA_touchEventIgnoreRules(nullptr, row.get());
  EXPECT_THAT(device.log(),
              ElementsAre("[KOVA DEBUG]: Ignoring view because its ancestor is marked with kovaIgnore:\n"
                          "    Target Class                              : UIButton\n"
                          "    Target Text                               : Pay\n"
                          "    Target Accessibility Identifier           : pay\n"
                          "    Target Accessibility Label                : Pay\n"
                          "    Ignored Ancestor Class                    : UIView\n"
                          "    Ignored Ancestor Text                     : Pay",
                          "[KOVA DEBUG]: Ignoring view marked with kovaIgnore:\n"
                          "    Class                    : UIView\n"
                          "    Text                     : Pay"));

  const auto leaving = std::make_shared<LeavingView>();
  const auto root = viewWith({viewWith({leaving})});
  setKovaIgnore(*root->subviews().front(), true);
  KOVA_touchEventIgnoreRules(leaving.get(), nullptr);
  EXPECT_THAT(device.logLinesWith("gone"), testing::SizeIs(1));
}

}  // namespace
