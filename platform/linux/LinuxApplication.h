#pragma once

#include "platform/foundation/Value.h"
#include "platform/linux/LinuxHost.h"

namespace platform {

// Everything that a program on Linux states before it starts libraries, in one call on the main thread: its
// directories (installLinuxHost), the classes of UIKit, its bundle facts, the device that it runs on, the
// kernel's routes as the source of reachability, and a shared UIApplication.
//
// `bundleFacts` are those of NSBundle: CFBundleShortVersionString, CFBundleVersion and so on. CFBundleName is
// the application's name unless they say otherwise.
void startLinuxApplication(const HostOptions& options, const Dictionary& bundleFacts);

}  // namespace platform
