// The path of responders that a touch event carries.

#include <thread>

#include "src/autocapture/KIViewAncestry.h"
#include "src/core/KovaLogger.h"
#include "tests/src/autocapture/CaptureFixture.h"

using namespace platform;
using testing::ElementsAre;

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

class CircularView : public UIView {
  NS_OBJECT(CircularView, UIView)

 public:
  UIResponder* nextResponder() const override { return const_cast<CircularView*>(this); }
};

class ViewAncestryTest : public testing::Test {
 protected:
  ViewAncestryTest() {
    button->setAccessibilityIdentifier("pay");
    row->setAccessibilityLabel("Row");
    row->setFrame(CGRectMake(10, 20, 100, 50));
    button->setFrame(CGRectMake(1, 2, 30, 40));
    controller->view()->addSubview(row);
    controller->setAccessibilityLabel("Cart");
  }

  std::string capture(KIViewAncestry::BoundingBoxes boxes = KIViewAncestry::BoundingBoxes::Omit) {
    return json(KIViewAncestry::captureFromView(*button, settings, boxes)->transmittableDictionary());
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
      R"({"class":"UIButton","accessibilityLabel":"Pay","accessibilityIdentifier":"pay"}]})";
  EXPECT_EQ(capture(), R"({"ancestry":[{"class":"CartController","accessibilityLabel":"Cart"},)" + rest);
  settings.limit = 3;
  EXPECT_EQ(capture(), R"({"ancestry":[)" + rest);
  settings.limit = 0;
  EXPECT_EQ(capture(), R"({"ancestry":[]})");

  settings.limit = 2;
  settings.labelOff = true;
  EXPECT_EQ(capture(KIViewAncestry::BoundingBoxes::Capture),
            R"({"ancestry":[{"class":"UIView","boundingBox":{"upperLeftOrigin":{"x":10.0,"y":20.0},)"
            R"("size":{"width":100.0,"height":50.0}}},)"
            R"({"class":"UIButton","accessibilityIdentifier":"pay","boundingBox":{"upperLeftOrigin":)"
            R"({"x":11.0,"y":22.0},"size":{"width":30.0,"height":40.0}}}]})");
}

TEST_F(ViewAncestryTest, RedactedLabelsStaySoBelowAndBeyondTheLimit) {
  setKovaRedactAccessibilityLabel(*row, true);
  const std::string redacted =
      R"({"class":"UIButton","accessibilityLabel":"****","accessibilityIdentifier":"pay"}]})";
  EXPECT_EQ(capture(), R"({"ancestry":[{"class":"CartController","accessibilityLabel":"Cart"},)"
                       R"({"class":"UIView"},{"class":"UIView","accessibilityLabel":"****"},)" +
                           redacted);
  settings.limit = 1;
  EXPECT_EQ(capture(), R"({"ancestry":[)" + redacted);
}

TEST_F(ViewAncestryTest, TheAppAddsButDoesNotReveal) {
  settings.limit = 1;
  settings.nodeOverrides = [](UIResponder&) {
    return Dictionary{{"accessibilityLabel", "Secret"}, {"class", "PayButton"}, {"color", "red"}};
  };
  EXPECT_EQ(capture(), R"({"ancestry":[{"class":"PayButton","accessibilityLabel":"Secret",)"
                       R"("accessibilityIdentifier":"pay","color":"red"}]})");
  setKovaRedactAccessibilityLabel(*controller, true);
  EXPECT_EQ(capture(), R"({"ancestry":[{"class":"PayButton","accessibilityLabel":"****",)"
                       R"("accessibilityIdentifier":"pay","color":"red"}]})");
  settings.nodeOverrides = [](UIResponder&) { return Dictionary{{"accessibilityLabel", 7}}; };
  EXPECT_NE(capture().find("****"), std::string::npos);
  settings.labelOff = true;
  EXPECT_EQ(capture(), R"({"ancestry":[{"class":"UIButton","accessibilityIdentifier":"pay"}]})");
}

TEST_F(ViewAncestryTest, WhatTheAppRemovesMeanwhileIsStillRead) {
  row->addSubview(std::make_shared<ReadingView>());
  UIView& inner = *row->subviews().back();
  settings.nodeOverrides = [&](UIResponder& responder) {
    if (&responder == controller.get()) row->subviews().back()->removeFromSuperview();
    return std::nullopt;
  };
  EXPECT_EQ(json(KIViewAncestry::captureFromView(inner, settings, KIViewAncestry::BoundingBoxes::Omit)
                     ->ancestry()[3]),
            R"({"class":"ReadingView"})");
}

TEST_F(ViewAncestryTest, EndsInCirclesAndDeepTrees) {
  const auto lengthFrom = [this](UIView& view) {
    return KIViewAncestry::captureFromView(view, settings, KIViewAncestry::BoundingBoxes::Omit)
        ->ancestry()
        .size();
  };
  settings.limit = 1'000'000;
  const auto circular = std::make_shared<CircularView>();
  EXPECT_EQ(lengthFrom(*circular), 10'000u);
  std::shared_ptr<UIView> top = button;
  for (int i = 0; i < 1000; ++i) top = viewWith({top});
  EXPECT_EQ(lengthFrom(*button), 1001u);
}

TEST_F(ViewAncestryTest, PrefetchesUpToTheFirstController) {
  const auto inside = std::make_shared<ReadingView>();
  const auto around = std::make_shared<ReadingView>();
  row->addSubview(inside);
  around->addSubview(controller->view());
  const auto capturedReadings = [&] {
    KIViewAncestry::captureFromView(*inside, settings, KIViewAncestry::BoundingBoxes::Omit);
    return std::pair(inside->readings, around->readings);
  };
  EXPECT_EQ(capturedReadings(), std::pair(0, 0));
  settings.prefetch = true;
  EXPECT_EQ(capturedReadings(), std::pair(1, 0));
}

TEST_F(ViewAncestryTest, DescribesItselfFromTheViewUp) {
  settings.limit = 2;
  KovaLogger::sharedInstance().setLogLevel(1);
  std::thread([this] {
    EXPECT_EQ(KIViewAncestry::captureFromView(*button, settings, KIViewAncestry::BoundingBoxes::Omit)
                  ->description(),
              "    * UIButton\n      > accessibilityLabel : Pay\n      > accessibilityIdentifier : pay\n"
              "    * UIView\n      > accessibilityLabel : Row");
  }).join();
  EXPECT_THAT(device.log(),
              ElementsAre("[KOVA DEBUG]: WARNING - captureFromView:tracker:captureBoundingBoxes: was called "
                          "on a background thread. Unpredictable behavior may occur."));
}

}  // namespace
