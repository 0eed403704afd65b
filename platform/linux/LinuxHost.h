#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/foundation/NSUUID.h"

namespace platform {

// What a Linux desktop tells about itself, and where an application keeps its files on it.

struct HostOptions {
  // "Storefront"
  std::string applicationName;
  // "com.example.storefront"; names the application's folders and its standard user defaults. The name serves
  // when empty.
  std::string applicationIdentifier;
  // When set, all directories lie below it instead of the user's own: for tests and for portable
  // installations.
  std::string rootDirectory;
};

// Installs the process-wide directories, as the XDG base directories lay down, each in a folder named by the
// application identifier, and makes the documents directory, whose creation date is the time of installation.
// Call once, before anything that stores.
void installLinuxHost(const HostOptions& options);

// The product name that the machine's firmware gives, else the processor architecture.
std::optional<std::string> deviceModel();

// "12": the version of the distribution, else of the kernel.
std::optional<std::string> systemVersion();

// The same for one application on one machine at each call, different for another application, and nothing
// tells the machine id from it. None when the machine has no id.
std::optional<NSUUID> vendorIdentifier(std::string_view applicationIdentifier,
                                       const std::string& machineIdPath = "/etc/machine-id");

}  // namespace platform
