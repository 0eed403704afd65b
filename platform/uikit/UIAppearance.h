#pragma once

#include "platform/uikit/UIView.h"

namespace platform {

// What bars, alerts, fields, segments and the keyboard are painted with where an app does not say so of one
// of them. The light appearance unless the app states another, before it makes any of them. Main thread only.
struct UIAppearance {
  UIColor label = UIColor::label();
  UIColor placeholder = UIColor::placeholderText();
  UIColor separator = UIColor::separator();
  UIColor bar = UIColor::fromRGB(0xF9F9F9);
  UIColor alert = UIColor::fromRGB(0xF5F5F5);
  UIColor tint = UIColor::systemBlue();  // what can be tapped
  UIColor unselected = UIColor::systemGray();
  UIColor segments = UIColor::systemGray5();  // the ground, and the chosen one on it
  UIColor chosenSegment = UIColor::white();
  UIColor keyboard = UIColor::fromRGB(0xD1D4DA);
  UIColor key = UIColor::white();
  UIColor specialKey = UIColor::fromRGB(0xABB1BB);
  UIColor keyShadow = UIColor::fromRGB(0x898A8D);

  PLATFORM_EXPORT static UIAppearance& shared();
};

// The picture above the title of a tab, and the one while it is selected. Stated before the bar shows the
// item; a tab without any has its title alone.
class Image;
class UITabBarItem;
PLATFORM_EXPORT void setTabBarItemImages(UITabBarItem& item, std::shared_ptr<const Image> image,
                                         std::shared_ptr<const Image> selected);

}  // namespace platform
