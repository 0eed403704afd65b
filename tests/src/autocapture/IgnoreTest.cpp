// The flags that keep a part of an app out of what is captured, and how they combine.

#include "src/autocapture/UIResponder+KovaIgnore.h"
#include "src/core/KovaLogger.h"
#include "tests/src/autocapture/CaptureTest.h"

using namespace platform;
using namespace testing;

namespace {

class MapView : public UIView {
  NS_OBJECT(MapView, UIView)
};
class CityMapView : public MapView {
  NS_OBJECT(CityMapView, MapView)
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
  setKovaIgnore(view, false);
  EXPECT_FALSE(KOVA_shouldCheckIgnore()) << "no rule has been set yet";
  unsigned all = 0;
  constexpr std::pair<void (*)(UIResponder&, bool), bool (*)(const UIResponder&)> kFlags[] = {
      {setKovaIgnore, kovaIgnore},
      {setKovaRedactText, kovaRedactText},
      {setKovaRedactAccessibilityLabel, kovaRedactAccessibilityLabel},
      {setKovaIgnoreInnerHierarchy, kovaIgnoreInnerHierarchy}};
  for (unsigned bit = 1; const auto& [set, isSet] : kFlags) {
    EXPECT_FALSE(isSet(view));
    set(view, true);
    EXPECT_TRUE(isSet(view));
    EXPECT_EQ(KOVA_ignoreRules(view), all |= bit);
    bit *= 2;
  }
  EXPECT_FALSE(KOVA_hasAllIgnoreRules(view, 1 | 16));
  setKovaRedactText(view, false);
  EXPECT_EQ(KOVA_ignoreRules(view), 1u + 4 + 8);
  EXPECT_TRUE(KOVA_shouldCheckIgnore()) << "never goes back";
}

TEST(IgnoreTest, AClassMayHideItsInnerViews) {
  const auto inner = std::make_shared<UIView>();
  const auto map = std::make_shared<CityMapView>();
  const auto outer = viewWith({map});
  map->addSubview(viewWith({inner}));
  const auto closestTo = [](UIView& view) { return &KOVA_closestViewVisibleInHierarchy(view); };
  EXPECT_TRUE(KOVA_isVisibleInHierarchy(*inner));

  setKovaIgnoreInnerHierarchyDefault(MapView::classObject(), true);
  EXPECT_TRUE(kovaIgnoreInnerHierarchy(*map)) << "inherited";
  EXPECT_FALSE(KOVA_isVisibleInHierarchy(*inner));
  EXPECT_TRUE(KOVA_isVisibleInHierarchy(*map)) << "what is inside is hidden, not the view itself";
  EXPECT_EQ(closestTo(*inner), map.get());
  EXPECT_EQ(closestTo(*outer), outer.get());

  setKovaIgnoreInnerHierarchy(*map, false);
  EXPECT_EQ(KOVA_ignoreRules(*map), 16u);
  EXPECT_EQ(closestTo(*inner), inner.get());
  setKovaIgnoreInnerHierarchy(*map, true);
  EXPECT_EQ(KOVA_ignoreRules(*map), 0u);

  setKovaIgnoreInnerHierarchy(*outer, true);
  setKovaIgnoreInnerHierarchy(*inner, true);
  EXPECT_EQ(closestTo(*inner), outer.get()) << "the outermost";

  for (const bool answer : {false, true}) {
    setKovaIgnoreInnerHierarchyDefault(CityMapView::classObject(), answer);
    EXPECT_EQ(kovaIgnoreInnerHierarchy(*map), answer) << "the latest answer counts";
  }
  setKovaIgnoreInnerHierarchyDefault(NSObject::classObject(), true);
  EXPECT_FALSE(kovaIgnoreInnerHierarchyDefault(*inner)) << "a class that is no responder";
}

TEST(IgnoreTest, RulesCombineUpToTheResponderThatMatches) {
  const auto controller = std::make_shared<CartController>();
  const auto inner = std::make_shared<UIView>();
  const auto row = viewWith({inner});
  controller->view()->addSubview(row);
  using Found = std::pair<unsigned, UIResponder*>;
  const auto find = [&inner](unsigned mask) {
    Found found(0, inner.get());
    found.first = KOVA_findCombinedIgnoreRules(inner.get(), mask, &found.second);
    return found;
  };
  EXPECT_EQ(find(1), Found(0, nullptr));
  setKovaRedactText(*row, true);
  setKovaRedactAccessibilityLabel(*controller, true);
  EXPECT_EQ(find(1), Found(2 + 4, nullptr));
  EXPECT_EQ(find(2), Found(2, row.get()));

  setKovaIgnore(*controller, true);
  UIView other;
  setKovaRedactText(other, true);
  EXPECT_EQ(KOVA_touchEventIgnoreRules(&other, inner.get()), 1u + 2 + 4);
  EXPECT_EQ(KOVA_touchEventIgnoreRules(nullptr, &other), 2u);
  EXPECT_EQ(KOVA_touchEventIgnoreRules(nullptr, nullptr), 0u);
}

TEST(IgnoreTest, TheDebugLogSaysWhatIsIgnoredAndWhy) {
  SimulatedDevice device;
  const auto button = std::make_shared<UIButton>("Pay");
  button->setAccessibilityIdentifier("pay");
  const auto row = viewWith({button});
  setKovaIgnore(*row, true);
  KOVA_touchEventIgnoreRules(button.get(), nullptr);
  EXPECT_THAT(device.log(), IsEmpty());

  KovaLogger::sharedInstance().setLogLevel(kKovaLogLevelDebug);
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
  EXPECT_THAT(device.logLinesWith("gone"), SizeIs(1));
}

}  // namespace
