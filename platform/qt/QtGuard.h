#pragma once

#include <exception>
#include <string>
#include <utility>

#include "platform/foundation/NSException.h"
#include "platform/foundation/SystemLog.h"

namespace platform {

// What cannot even be said is left unsaid.
inline void sayUnread(const char* reason) noexcept {
  try {
    NSLog(std::string("An event could not be read: ") + reason);
  } catch (const std::exception&) {
    return;
  }
}

// Runs what Qt calls: nothing that is thrown there, by a model of the app's for instance, gets into Qt. A
// thread that ends itself there passes through; the undefined-behaviour sanitizer must not see how.
template <class Work>
__attribute__((no_sanitize("undefined"))) void guardedFromQt(Work&& work) {
  try {
    std::forward<Work>(work)();
  } catch (const ForcedUnwind&) {
    throw;
  } catch (const std::exception& problem) {
    sayUnread(problem.what());
  } catch (...) {
    sayUnread("unknown");  // an app may throw whatever it likes
  }
}

}  // namespace platform
