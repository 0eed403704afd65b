#pragma once

#include <memory>

#include "src/core/Threads.h"

namespace platform {
class BitmapContext;
class Image;
class UIView;
}  // namespace platform

// Pictures of what is on the screen, a pixel to a point, without transparency.
//
// A picture in high quality lays the views out first; a fast one takes them as they stand. One picture that
// takes longer than half a second switches the process to fast ones, for good.
class KIScreenshot {
 public:
  enum class Quality { High, Fast };

  // The application's key window; null when there is none.
  static std::shared_ptr<const platform::Image> captureScreenWithHighQuality(Quality quality)
      KOVA_ON_MAIN_THREAD;
  // What is on the screen over the view's rectangle, also what lies in front of the view: black for a view
  // that has left its window. A last part of a pixel counts as a whole one. Null for a view whose size no
  // picture can have.
  static std::shared_ptr<const platform::Image> captureView(platform::UIView& view,
                                                            Quality quality) KOVA_ON_MAIN_THREAD;

  // Draws the view with all inside it, and watches the time.
  static void renderView(platform::UIView& view, Quality quality,
                         platform::BitmapContext& context) KOVA_ON_MAIN_THREAD;
  // Switches the process when a picture took too many seconds.
  static void updateOptimizationStateForTotalTimeInterval(double seconds);

  // Whether the process has switched.
  static bool permanentlySwitchToFastCapture();
  static void disableHighQualityRenderingDueToPerformance();
};
