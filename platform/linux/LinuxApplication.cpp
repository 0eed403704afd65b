#include "platform/linux/LinuxApplication.h"

#include <unistd.h>

#include <array>

#include "platform/foundation/NSBundle.h"
#include "platform/linux/internal/Routes.h"
#include "platform/net/NetworkReachability.h"
#include "platform/uikit/InstallUIKit.h"
#include "platform/uikit/UIApplication.h"
#include "platform/uikit/UIDevice.h"

namespace platform {

namespace {

std::string hostName() {
  std::array<char, 256> name{};
  return gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "";
}

}  // namespace

void startLinuxApplication(const HostOptions& options, const Dictionary& bundleFacts) {
  installLinuxHost(options);
  installUIKit();

  MutableDictionary facts{{"CFBundleName", options.applicationName}};
  facts.merge(bundleFacts);
  NSBundle::mainBundle().setInfoDictionary(Dictionary(std::move(facts)));

  UIDevice::Facts device;
  device.name = hostName();
  device.machine = deviceModel().value_or("");
  if (const auto identifier = vendorIdentifier(options.applicationIdentifier)) {
    device.identifierForVendor = identifier->UUIDString();
  }
  UIDevice::currentDevice().setFacts(std::move(device));

  NetworkReachability::installFlagSource(routeFlags);
  NetworkReachability::installChangeSource(watchRoutes);
  if (!UIApplication::sharedApplication())
    UIApplication::setSharedApplication(std::make_shared<UIApplication>());
}

}  // namespace platform
