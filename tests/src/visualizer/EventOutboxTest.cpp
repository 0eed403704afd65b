// The order in which events with pictures leave, and what becomes of pictures when there are too many.

#include "src/visualizer/KIEventOutbox.h"

#include <Kova/KovaOptions.h>
#include <gmock/gmock.h>

#include "src/core/NSOperationQueue+SafeOperation.h"
#include "tests/src/autocapture/CaptureTest.h"

using namespace platform;
using namespace testing;

namespace {

class EventOutboxTest : public testing::Test {
 protected:
  EventOutboxTest() { window->rootViewController()->view()->addSubview(view); }

  KIEventOutbox::CaptureRef capture() {
    return outbox->prepare(KovaEventVisualizerContext::create(view.get(), settings, options));
  }
  KIEventOutbox::CaptureRef captureOfScreen() {
    return outbox->prepare(KovaEventVisualizerContext::create(nullptr, settings, options));
  }
  void post(const std::string& name, const KIEventOutbox::CaptureRef& capture) {
    outbox->post(capture, [this, name](const Dictionary& captured) {
      std::string what = name;
      for (const auto& [key, value] : captured) {
        if (key.text() == "full_image_data" || key.text() == "view_ancestry") what += " " + key.description();
      }
      sent.push_back(captured.empty() ? what + " alone" : what);
    });
  }

  SimulatedDevice device;
  CaptureSettings settings;
  KovaOptions options;
  std::shared_ptr<UIWindow> window = device.show(std::make_shared<UIViewController>());
  std::shared_ptr<UIView> view = std::make_shared<UIView>(CGRectMake(0, 0, 20, 10));
  std::shared_ptr<KIEventOutbox> outbox = std::make_shared<KIEventOutbox>(KOVA_serialStateQueue());
  std::vector<std::string> sent;
};

TEST_F(EventOutboxTest, NothingOvertakesPictures) {
  const auto ready = capture();
  device.drain();
  post("1", ready);
  EXPECT_THAT(sent, ElementsAre("1 full_image_data view_ancestry")) << "at once";
  post("2", capture());
  post("3", nullptr);
  EXPECT_EQ(sent.size(), 1u);
  device.drain();
  EXPECT_THAT(sent,
              ElementsAre("1 full_image_data view_ancestry", "2 full_image_data view_ancestry", "3 alone"));
}

TEST_F(EventOutboxTest, TheOldestOfTooManyLoseTheirPicturesAlone) {
  std::vector<std::string> expected{"0 view_ancestry", "1 alone"};
  post("0", capture());
  post("1", captureOfScreen());
  for (std::size_t i = 2; i < 2 + KIEventOutbox::kMostWaiting; ++i) {
    post(std::to_string(i), capture());
    expected.push_back(std::to_string(i) + " full_image_data view_ancestry");
  }
  const std::weak_ptr<KIEventOutbox> letGo = std::exchange(outbox, nullptr);
  EXPECT_THAT(sent, ElementsAre(expected[0], expected[1]));
  device.drain();
  EXPECT_THAT(sent, ElementsAreArray(expected)) << "also when nobody else holds the outbox any more";
  EXPECT_TRUE(letGo.expired());
}

}  // namespace
