// Pictures of the screen and of a view, and what is sent of them.

#include <Kova/KovaOptions.h>

#include "platform/foundation/Base64.h"
#include "platform/graphics/BitmapContext.h"
#include "platform/graphics/Drawing.h"
#include "src/visualizer/KIPictureEncoder.h"
#include "src/visualizer/KIScreenshot.h"
#include "src/visualizer/KovaEventVisualizerContext.h"
#include "tests/src/autocapture/CaptureTest.h"

using namespace platform;
using Quality = KIScreenshot::Quality;

namespace {

std::shared_ptr<UIView> box(CGRect frame, UIColor colour) {
  auto view = std::make_shared<UIView>(frame);
  view->setBackgroundColor(colour);
  return view;
}

// Takes its time to draw, and counts how often it was laid out.
class SlowView : public UIView {
  NS_OBJECT(SlowView, UIView)

 public:
  using UIView::UIView;
  void layoutSubviews() override { ++layouts; }
  void drawRect(CGRect, BitmapContext&) override { takeTime(); }

  std::function<void()> takeTime = [] {};
  int layouts = 0;
};

class ScreenshotTest : public testing::Test {
 protected:
  // A window that begins in the middle of the screen, by its scene's place and its own.
  std::shared_ptr<UIWindow> windowAwayFromTheCorner() {
    const auto scene = std::make_shared<UIWindowScene>(CGRectMake(200, 0, 190, 844));
    device.application->connectScene(scene);
    const auto shown = UIWindow::create(scene);
    shown->setFrame(CGRectMake(5, 7, 100, 80));
    shown->setBackgroundColor(UIColor::white());
    shown->makeKeyAndVisible();
    scenes_.push_back(scene);
    return shown;
  }
  static std::string png(const std::shared_ptr<const Image>& image) {
    return base64EncodedString(image->PNGRepresentation());
  }

  SimulatedDevice device;
  CaptureSettings settings;
  KovaOptions options;
  KIPictureEncoder encoder;

 private:
  std::vector<std::shared_ptr<UIWindowScene>> scenes_;
};

TEST_F(ScreenshotTest, TheScreenIsTheKeyWindow) {
  EXPECT_FALSE(KIScreenshot::captureScreenWithHighQuality(Quality::High)) << "there is no key window";
  const auto window = windowAwayFromTheCorner();
  window->setBackgroundColor(std::nullopt);
  window->addSubview(box(CGRectMake(10, 10, 20, 20), UIColor::systemRed().withAlpha(0.5)));
  for (const Quality quality : {Quality::High, Quality::Fast}) {
    const auto image = KIScreenshot::captureScreenWithHighQuality(quality);
    ASSERT_TRUE(image);
    EXPECT_EQ(image->size(), (CGSize{100, 80}));
    EXPECT_EQ(image->width(), 100);
    EXPECT_EQ(image->colorAtPixel(5, 5), UIColor::black()) << "nothing is transparent";
    EXPECT_EQ(image->colorAtPixel(15, 15).alpha, 1);
    EXPECT_NEAR(image->colorAtPixel(15, 15).red, 0.5, 0.01);
  }
}

TEST_F(ScreenshotTest, ACropShowsWhatLiesOnTheScreenOverTheView) {
  const auto window = windowAwayFromTheCorner();
  const auto scrolled = box(CGRectMake(10, 10, 60, 60), UIColor::gray());
  scrolled->setBoundsOrigin({0, 100});
  const auto view = box(CGRectMake(10, 110, 30, 20), UIColor::systemBlue());  // at (20, 20) of the window
  scrolled->addSubview(view);
  window->addSubview(scrolled);
  window->addSubview(box(CGRectMake(40, 0, 60, 80), UIColor::systemGreen()));
  for (const Quality quality : {Quality::High, Quality::Fast}) {
    const auto image = KIScreenshot::captureView(*view, quality);
    ASSERT_TRUE(image);
    EXPECT_EQ(image->size(), (CGSize{30, 20}));
    for (const int y : {0, 19}) {
      EXPECT_EQ(image->colorAtPixel(0, y), UIColor::systemBlue());
      EXPECT_EQ(image->colorAtPixel(19, y), UIColor::systemBlue());
      EXPECT_EQ(image->colorAtPixel(20, y), UIColor::systemGreen()) << "in front of the view";
    }
  }
  view->setFrame(CGRectMake(10, 110, 30, 0));
  EXPECT_FALSE(KIScreenshot::captureView(*view, Quality::High));
}

TEST_F(ScreenshotTest, ACropBeginsAtAWholePixelSoThatItsLastIsOnTheScreen) {
  const auto window = windowAwayFromTheCorner();
  const double third = 100.0 / 3;
  const auto tab = box(CGRectMake(2 * third, 59.5, third, 20.5), UIColor::systemBlue());
  window->addSubview(tab);
  const auto image = KIScreenshot::captureView(*tab, Quality::High);
  EXPECT_EQ(image->size(), (CGSize{34, 21}));
  EXPECT_EQ(image->colorAtPixel(33, 20), UIColor::systemBlue());
  EXPECT_EQ(image->colorAtPixel(1, 1), UIColor::systemBlue());
}

TEST_F(ScreenshotTest, ACropOfAViewThatHasLeftItsWindowIsBlack) {
  const auto window = windowAwayFromTheCorner();
  const auto view = box(CGRectMake(0, 0, 30, 20), UIColor::systemBlue());
  const auto context = KovaEventVisualizerContext::create(view.get(), settings, options);
  ASSERT_TRUE(context->croppedImage() && context->fullImage());
  EXPECT_EQ(context->croppedImage()->size(), (CGSize{30, 20}));
  EXPECT_EQ(context->croppedImage()->colorAtPixel(15, 10), UIColor::black());
}

TEST_F(ScreenshotTest, ASlowPictureSwitchesToFastOnesForGood) {
  const auto window = windowAwayFromTheCorner();
  const auto slow = std::make_shared<SlowView>(window->bounds());
  window->addSubview(slow);
  const auto layoutsOf = [&](double seconds) {
    slow->takeTime = [this, seconds] { device.advance(seconds); };
    slow->layouts = 0;
    slow->setNeedsLayout();
    KIScreenshot::captureScreenWithHighQuality(Quality::High);
    return slow->layouts;
  };
  EXPECT_EQ(layoutsOf(0.49), 1) << "high quality lays out first";
  EXPECT_FALSE(KIScreenshot::permanentlySwitchToFastCapture());
  EXPECT_EQ(layoutsOf(0.51), 1);
  EXPECT_TRUE(KIScreenshot::permanentlySwitchToFastCapture());
  EXPECT_EQ(layoutsOf(0), 0);
  EXPECT_EQ(layoutsOf(0), 0);
}

TEST_F(ScreenshotTest, SendsThePicturesAndTheAncestry) {
  const auto window = windowAwayFromTheCorner();
  const auto view = box(CGRectMake(20, 20, 30, 20), UIColor::systemBlue());
  window->addSubview(view);

  const auto ofTouch = KovaEventVisualizerContext::create(view.get(), settings, options);
  ASSERT_TRUE(ofTouch && ofTouch->croppedImage() && ofTouch->fullImage());
  const std::string crop = png(ofTouch->croppedImage());
  const std::string full = png(ofTouch->fullImage());
  const std::string head = R"({"image_format":"png","image_encoding":"base64")";
  const std::string ancestry =
      R"(,"view_ancestry":)" + json(ofTouch->viewAncestry()->transmittableDictionary());
  EXPECT_NE(ancestry.find("oundingBox"), std::string::npos) << ancestry;
  EXPECT_EQ(json(ofTouch->transmittableDictionary(encoder)),
            head + R"(,"image_data":")" + crop + R"(","full_image_data":")" + full + '"' + ancestry + '}');

  const auto ofScreen = KovaEventVisualizerContext::create(nullptr, settings, options);
  ASSERT_TRUE(ofScreen);
  EXPECT_EQ(json(ofScreen->transmittableDictionary(encoder)), head + R"(,"image_data":")" + full + "\"}");

  window->resignKeyWindow();
  EXPECT_FALSE(KovaEventVisualizerContext::create(nullptr, settings, options));
  const auto withoutKey = KovaEventVisualizerContext::create(view.get(), settings, options);
  EXPECT_EQ(json(withoutKey->transmittableDictionary(encoder)),
            head + R"(,"image_data":")" + crop + '"' + ancestry + '}');

  window->makeKeyWindow();
  options.setTestOnlyOmitEVScreenshots(true);
  EXPECT_FALSE(KovaEventVisualizerContext::create(nullptr, settings, options));
  EXPECT_EQ(json(KovaEventVisualizerContext::create(view.get(), settings, options)
                     ->transmittableDictionary(encoder)),
            head + ancestry + '}');
}

// Draws as another does, and counts what it encodes.
class CountingDrawing : public Drawing {
 public:
  CountingDrawing() { install(*this); }
  ~CountingDrawing() override { install(drawing_); }

  std::unique_ptr<Canvas> makeCanvas(std::uint8_t* pixels, int width, int height, double scale) override {
    return drawing_.makeCanvas(pixels, width, height, scale);
  }
  CGSize sizeOfText(std::string_view text, const Font& font, double width, int lines) override {
    return drawing_.sizeOfText(text, font, width, lines);
  }
  std::string encodePNG(const Image& image) override {
    ++encoded;
    return drawing_.encodePNG(image);
  }

  int encoded = 0;

 private:
  Drawing& drawing_ = current();
};

TEST_F(ScreenshotTest, AScreenThatShowsTheSameIsNotEncodedAgain) {
  CountingDrawing drawing;
  const auto window = windowAwayFromTheCorner();
  const auto whole = box(window->bounds(), UIColor::systemBlue());
  const auto encodings = [&] {
    drawing.encoded = 0;
    const auto context = KovaEventVisualizerContext::create(whole.get(), settings, options);
    const String full = base64EncodedString(drawing.encodePNG(*context->fullImage()));
    EXPECT_NE(json(context->transmittableDictionary(encoder)).find(full), std::string::npos);
    return drawing.encoded - 1;
  };
  window->addSubview(whole);
  EXPECT_EQ(encodings(), 1) << "of a view that fills the screen, one picture";
  EXPECT_EQ(encodings(), 0);
  whole->setBackgroundColor(UIColor::systemRed());
  EXPECT_EQ(encodings(), 1);
  window->setFrame(CGRectMake(5, 7, 80, 100));
  EXPECT_EQ(encodings(), 2) << "as many pixels in another shape";
}

}  // namespace
