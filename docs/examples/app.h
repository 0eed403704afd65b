#pragma once

// An app on the platform layer.

#include <Kova/Kova.h>

#include <memory>

#include "platform/dispatch/MainRunLoop.h"
#include "platform/dispatch/ThreadScheduler.h"
#include "platform/uikit/UIKit.h"

extern const std::shared_ptr<platform::UILabel> balanceLabel;
extern const std::shared_ptr<platform::UIViewController> pinController;

class MapView : public platform::UIView {
  NS_OBJECT(MapView, UIView)
};
