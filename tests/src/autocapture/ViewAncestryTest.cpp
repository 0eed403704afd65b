// The path of responders that a touch event carries.

#include "src/autocapture/KIViewAncestry.h"

#include <thread>

#include "src/autocapture/UIResponder+KovaIgnore.h"
#include "src/core/KovaLogger.h"
#include "src/pageviews/UIResponder+ActivePageview.h"
#include "tests/src/autocapture/CaptureTest.h"

using namespace platform;
using namespace testing;

namespace {

class ReadingView : public UIView {
  NS_OBJECT(ReadingView, UIView)
 public:
  std::vector<std::shared_ptr<NSObject>> accessibilityElements() override {
    ++readings;
    return {};
  }
  int readings = 0;
};

class ViewAncestryTest : public testing::Test {
 protected:
  using Boxes = KIViewAncestry::BoundingBoxes;

  ViewAncestryTest() {
    button->setAccessibilityIdentifier("pay");
    row->setAccessibilityLabel("Row");
    row->setFrame(CGRectMake(10, 20, 100, 50));
    button->setFrame(CGRectMake(1, 2, 30, 40));
    controller->view()->addSubview(row);
    controller->setAccessibilityLabel("Cart");
  }
  std::shared_ptr<const KIViewAncestry> ancestryOf(UIView& view, Boxes boxes = Boxes::Omit) {
    return KIViewAncestry::captureFromView(view, settings, boxes);
  }
  // The nodes as JSON.
  std::string capture(Boxes boxes = Boxes::Omit) {
    return json(*ancestryOf(*button, boxes)->transmittableDictionary().find("ancestry"));
  }

  SimulatedDevice device;
  CaptureSettings settings;
  const std::shared_ptr<CartController> controller = std::make_shared<CartController>();
  const std::shared_ptr<UIButton> button = std::make_shared<UIButton>("Pay");
  const std::shared_ptr<UIView> row = viewWith({button});
};

TEST_F(ViewAncestryTest, NodesFromTheRootDown) {
  const std::string rest =
      R"({"class":"UIView"},{"class":"UIView","accessibilityLabel":"Row"},)"
      R"({"class":"UIButton","accessibilityLabel":"Pay","accessibilityIdentifier":"pay"}])";
  EXPECT_EQ(capture(), R"([{"class":"CartController","accessibilityLabel":"Cart"},)" + rest);
  settings.limit = 3;
  EXPECT_EQ(capture(), "[" + rest);
  settings.limit = 0;
  EXPECT_EQ(capture(), "[]");

  settings.limit = 2;
  settings.labelOff = true;
  EXPECT_EQ(capture(Boxes::Capture),
            R"([{"class":"UIView","boundingBox":{"upperLeftOrigin":{"x":10.0,"y":20.0},)"
            R"("size":{"width":100.0,"height":50.0}}},)"
            R"({"class":"UIButton","accessibilityIdentifier":"pay","boundingBox":{"upperLeftOrigin":)"
            R"({"x":11.0,"y":22.0},"size":{"width":30.0,"height":40.0}}}])");
}

TEST_F(ViewAncestryTest, NodesAreSharedForAsLongAsTheyTellTheSame) {
  const auto before = ancestryOf(*button);
  const auto isSharedWith = [&](const KIViewAncestry& now, std::size_t place) {
    return now.ancestry()[place].dictionary().isSameObject(before->ancestry()[place].dictionary());
  };
  row->setAccessibilityLabel("Other row");
  const auto now = ancestryOf(*button);
  EXPECT_TRUE(isSharedWith(*now, 0));
  EXPECT_FALSE(isSharedWith(*now, 2));
  EXPECT_TRUE(isSharedWith(*now, 3));
  EXPECT_THAT(capture(), HasSubstr(R"({"class":"UIView","accessibilityLabel":"Other row"})"));
  row->setAccessibilityLabel(std::nullopt);
  row->setAccessibilityIdentifier("Other row");
  EXPECT_THAT(capture(), HasSubstr(R"({"class":"UIView","accessibilityIdentifier":"Other row"})"));
}

TEST_F(ViewAncestryTest, RedactedLabelsAreSoBelowToo) {
  setKovaRedactAccessibilityLabel(*row, true);
  EXPECT_EQ(capture(),
            R"([{"class":"CartController","accessibilityLabel":"Cart"},{"class":"UIView"},)"
            R"({"class":"UIView","accessibilityLabel":"****"},)"
            R"({"class":"UIButton","accessibilityLabel":"****","accessibilityIdentifier":"pay"}])");
}

TEST_F(ViewAncestryTest, TheAppAddsButDoesNotReveal) {
  settings.limit = 1;
  struct {
    Dictionary overrides;
    const char *plain, *redacted;
  } const cases[] = {
      {{{"accessibilityLabel", "Secret"}, {"class", "PayButton"}, {"color", "red"}},
       R"("PayButton","accessibilityLabel":"Secret","accessibilityIdentifier":"pay","color":"red")",
       R"("PayButton","accessibilityLabel":"****","accessibilityIdentifier":"pay","color":"red")"},
      {{{"class", nullptr}, {"accessibilityLabel", nullptr}},
       R"("UIButton","accessibilityLabel":"Pay","accessibilityIdentifier":"pay")",
       R"("UIButton","accessibilityLabel":"****","accessibilityIdentifier":"pay")"},
      {{{"accessibilityLabel", 7}},
       R"("UIButton","accessibilityLabel":7,"accessibilityIdentifier":"pay")",
       R"("UIButton","accessibilityLabel":"****","accessibilityIdentifier":"pay")"},
  };
  for (const auto& [overrides, plain, redacted] : cases) {
    settings.nodeOverrides = [&answer = overrides](UIResponder&) { return answer; };
    setKovaRedactAccessibilityLabel(*controller, false);
    EXPECT_EQ(capture(), std::string(R"([{"class":)") + plain + "}]");
    setKovaRedactAccessibilityLabel(*controller, true);  // beyond the limit
    EXPECT_EQ(capture(), std::string(R"([{"class":)") + redacted + "}]");
  }
  settings.labelOff = true;
  EXPECT_EQ(capture(), R"([{"class":"UIButton","accessibilityIdentifier":"pay"}])");
}

TEST_F(ViewAncestryTest, WhatTheAppRemovesMeanwhileIsStillRead) {
  row->addSubview(std::make_shared<ReadingView>());
  UIView& inner = *row->subviews().back();
  settings.nodeOverrides = [&](UIResponder& responder) {
    if (&responder == controller.get()) row->subviews().back()->removeFromSuperview();
    return std::nullopt;
  };
  EXPECT_EQ(json(ancestryOf(inner)->ancestry()[3]), R"({"class":"ReadingView"})");
}

TEST_F(ViewAncestryTest, CirclesAndDeepTreesEnd) {
  settings.limit = 1'000'000;
  std::shared_ptr<UIView> top = button;
  for (int i = 0; i < 1000; ++i) top = viewWith({top});
  EXPECT_EQ(ancestryOf(*button)->ancestry().size(), 1001u);

  const auto circular = std::make_shared<CircularView>();
  setKovaRedactText(*circular, true);
  EXPECT_EQ(ancestryOf(*circular)->ancestry().size(), 10'000u);
  UIResponder* source = circular.get();
  EXPECT_EQ(KOVA_findCombinedIgnoreRules(circular.get(), 1, &source), 2u);
  EXPECT_EQ(source, nullptr);
  EXPECT_EQ(&KOVA_closestViewVisibleInHierarchy(*circular), circular.get());
  EXPECT_TRUE(KOVA_isVisibleInHierarchy(*circular));
  EXPECT_EQ(KOVA_scopedPageviewInfoWithCurrentSessionId(*circular, "1"), std::nullopt);
  EXPECT_EQ(settings.touch(circular)->closestControl(), nullptr);
}

TEST_F(ViewAncestryTest, PrefetchesUpToTheFirstController) {
  const auto inside = std::make_shared<ReadingView>();
  const auto around = std::make_shared<ReadingView>();
  row->addSubview(inside);
  around->addSubview(controller->view());
  for (const bool prefetch : {false, true}) {
    settings.prefetch = prefetch;
    ancestryOf(*inside);
    EXPECT_EQ(inside->readings, prefetch ? 1 : 0);
    EXPECT_EQ(around->readings, 0);
  }
}

TEST_F(ViewAncestryTest, DescribesItselfFromTheViewUp) {
  settings.limit = 2;
  KovaLogger::sharedInstance().setLogLevel(kKovaLogLevelDebug);
  std::thread([this] {
    EXPECT_EQ(ancestryOf(*button)->description(),
              "    * UIButton\n      > accessibilityLabel : Pay\n      > accessibilityIdentifier : pay\n"
              "    * UIView\n      > accessibilityLabel : Row");
  }).join();
  EXPECT_THAT(device.log(),
              ElementsAre("[KOVA DEBUG]: WARNING - captureFromView:tracker:captureBoundingBoxes: was called "
                          "on a background thread. Unpredictable behavior may occur."));
}

}  // namespace
