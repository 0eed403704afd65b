#include "src/visualizer/KIScreenshot.h"

#include <atomic>
#include <cmath>
#include <utility>

#include "platform/dispatch/Scheduler.h"
#include "platform/graphics/BitmapContext.h"
#include "platform/uikit/UIApplication.h"
#include "platform/uikit/UIWindow.h"

using namespace platform;

namespace {

constexpr double kScale = 1.0;               // pixels to a point
constexpr double kLongestHighQuality = 0.5;  // seconds

std::atomic<bool> switchedToFastCapture = false;

bool isPossible(CGSize size) {
  return Image::isPossible(std::ceil(size.width * kScale), std::ceil(size.height * kScale));
}

}  // namespace

std::shared_ptr<const Image> KIScreenshot::captureScreenWithHighQuality(Quality quality) {
  const auto& application = UIApplication::sharedApplication();
  const auto window = application ? application->keyWindow() : nullptr;
  if (!window || !isPossible(window->bounds().size)) return nullptr;
  BitmapContext context(window->bounds().size, kScale, BitmapContext::Backing::Black);
  renderView(*window, quality, context);
  return std::move(context).takeImage();
}

std::shared_ptr<const Image> KIScreenshot::captureView(UIView& view, Quality quality) {
  UIWindow* const window = view.window();
  if (!window || !isPossible(view.frame().size)) return nullptr;
  BitmapContext context(view.frame().size, kScale, BitmapContext::Backing::Black);
  // The screen's coordinates, of which the context shows the part that begins at the view's corner.
  const CGPoint inWindow = view.convertPointToView(view.bounds().origin, window);
  const CGPoint onScreen = window->convertPointToScreen(inWindow);
  context.translate(-onScreen.x, -onScreen.y);
  // The window is drawn where it lies on the screen: it may belong to a scene that fills a part of it.
  const CGPoint place = window->convertPointToScreen(window->bounds().origin);
  context.translate(place.x, place.y);
  renderView(*window, quality, context);
  return std::move(context).takeImage();
}

void KIScreenshot::renderView(UIView& view, Quality quality, BitmapContext& context) {
  Scheduler& clock = Scheduler::current();
  const double start = clock.uptime();
  if (quality == Quality::High && !permanentlySwitchToFastCapture()) {
    view.drawViewHierarchyInRect(view.bounds(), true, context);
  } else {
    view.renderInContext(context);
  }
  updateOptimizationStateForTotalTimeInterval(clock.uptime() - start);
}

void KIScreenshot::updateOptimizationStateForTotalTimeInterval(double seconds) {
  if (seconds > kLongestHighQuality) disableHighQualityRenderingDueToPerformance();
}

bool KIScreenshot::permanentlySwitchToFastCapture() {
  return switchedToFastCapture.load(std::memory_order_relaxed);
}

void KIScreenshot::disableHighQualityRenderingDueToPerformance() {
  switchedToFastCapture.store(true, std::memory_order_relaxed);
}
