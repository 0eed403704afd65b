#pragma once

#include <optional>
#include <string>

#include "platform/foundation/Format.h"

// A version and a build of the host application, either of which may be missing. An immutable value.
class KILifecycleVersion {
 public:
  KILifecycleVersion(std::optional<std::string> version, std::optional<std::string> build)
      : version_(std::move(version)), build_(std::move(build)) {}

  const std::optional<std::string>& version() const { return version_; }
  const std::optional<std::string>& build() const { return build_; }
  bool hasValues() const { return version_ && build_; }

  // Asked of the current version. There is no order of versions: a downgrade is an upgrade too.
  bool isFirstRunWithPreviousVersion(const KILifecycleVersion& previous) const {
    return hasValues() && !previous.hasValues();
  }
  bool isUpgradeFromPreviousVersion(const KILifecycleVersion& previous) const {
    if (!hasValues() || isFirstRunWithPreviousVersion(previous)) return false;
    return version_ != previous.version_ || build_ != previous.build_;
  }

  std::string description() const {
    return platform::formatted("<version: %@, build: %@>", version_, build_);
  }

 private:
  std::optional<std::string> version_;
  std::optional<std::string> build_;
};
