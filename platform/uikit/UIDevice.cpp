#include "platform/uikit/UIDevice.h"

#include "platform/foundation/NSProcessInfo.h"

namespace platform {

UIDevice& UIDevice::currentDevice() {
  static UIDevice& device = *new UIDevice;
  return device;
}

const std::string& UIDevice::systemVersion() const {
  return NSProcessInfo::processInfo().operatingSystemVersionString();
}

}  // namespace platform
