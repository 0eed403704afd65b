#include "platform/foundation/NSProcessInfo.h"

#include <charconv>

namespace platform {

namespace {

// Foundation's number at version 10.0, and about how far each later major version moved it.
constexpr double kFoundationAtVersion10 = 1348;
constexpr double kFoundationStep = 90;

}  // namespace

NSProcessInfo& NSProcessInfo::processInfo() {
  static NSProcessInfo& info = *new NSProcessInfo;
  return info;
}

NSProcessInfo::NSProcessInfo() { setOperatingSystemVersionString("17.0"); }

void NSProcessInfo::setOperatingSystemVersionString(std::string_view version) {
  systemVersion_ = version;
  majorVersion_ = 0;
  std::from_chars(version.data(), version.data() + version.size(), majorVersion_);
  foundationVersionNumber_ = kFoundationAtVersion10 + kFoundationStep * (majorVersion_ - 10);
}

}  // namespace platform
