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

// Floating point leaves whole numbers slightly off.
constexpr double kTolerance = 1e-6;

bool isPossible(CGSize size) {
  return Image::isPossible(std::ceil(size.width * kScale), std::ceil(size.height * kScale));
}

CGSize inWholePixels(CGSize size) {
  return {std::ceil(size.width - kTolerance), std::ceil(size.height - kTolerance)};
}
double wholePixelBefore(double coordinate) { return std::floor(coordinate + kTolerance); }

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
  const CGSize size = inWholePixels(view.frame().size);
  if (!isPossible(size)) return nullptr;
  BitmapContext context(size, kScale, BitmapContext::Backing::Black);
  if (UIWindow* const window = view.window()) {
    // The window is drawn where it lies on the screen, as it may belong to a scene that fills a part of it,
    // and shifted to where the view begins: by whole pixels, since the last ones of a view at the window's
    // edge would show nothing otherwise.
    const CGPoint inWindow = view.convertPointToView(view.bounds().origin, window);
    const CGPoint onScreen = window->convertPointToScreen(inWindow);
    const CGPoint place = window->convertPointToScreen(window->bounds().origin);
    context.translate(-wholePixelBefore(onScreen.x - place.x), -wholePixelBefore(onScreen.y - place.y));
    renderView(*window, quality, context);
  }
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
