#pragma once

#include "platform/graphics/CGGeometry.h"

namespace platform {

// The device's display: its size in points and the pixels of a point. Stated by the host before the first
// window is made. Main thread only.
class UIScreen {
 public:
  static UIScreen& mainScreen();

  CGRect bounds() const { return {{}, size_}; }
  double scale() const { return scale_; }
  void setSize(CGSize size) { size_ = size; }
  void setScale(double scale) { scale_ = scale; }

 private:
  CGSize size_{390, 844};
  double scale_ = 2;
};

}  // namespace platform
