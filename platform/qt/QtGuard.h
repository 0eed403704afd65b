#pragma once

#include <exception>
#include <string>
#include <utility>

#include "platform/foundation/SystemLog.h"

namespace platform {

// Runs what Qt calls: nothing that is thrown there, by a model of the app's for instance, gets into Qt.
template <class Work>
void guardedFromQt(Work&& work) {
  try {
    std::forward<Work>(work)();
  } catch (const std::exception& problem) {
    NSLog(std::string("An event could not be read: ") + problem.what());
  } catch (...) {
    NSLog("An event could not be read.");  // an app may throw whatever it likes
  }
}

}  // namespace platform
