#pragma once

#include <string>
#include <string_view>

namespace platform {

// The system that the process runs on, as far as programs ask about it. Stated by the host or a simulated
// device before libraries start, on the main thread; afterwards any thread reads.
class NSProcessInfo {
 public:
  static NSProcessInfo& processInfo();

  // The version of the platform's interfaces that this implementation offers: "17.0" unless stated otherwise.
  const std::string& operatingSystemVersionString() const { return systemVersion_; }
  // The number before the first full stop; 0 when there is none.
  int operatingSystemMajorVersion() const { return majorVersion_; }
  bool isOperatingSystemAtLeast(int majorVersion) const { return majorVersion_ >= majorVersion; }
  // The version number of Foundation that came with that system; 1300 and above from version 10.0 on.
  double foundationVersionNumber() const { return foundationVersionNumber_; }

  // Also derives the version number of Foundation.
  void setOperatingSystemVersionString(std::string_view version);

 private:
  NSProcessInfo();
  std::string systemVersion_;
  int majorVersion_ = 0;
  double foundationVersionNumber_ = 0;
};

}  // namespace platform
