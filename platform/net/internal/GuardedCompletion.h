#pragma once

#include <exception>
#include <string>
#include <utility>

#include "platform/foundation/SystemLog.h"

namespace platform {

// Calls what a task was given, on the session's queue, which must survive whatever that throws. `task` names
// the kind of task in the log: "data task".
template <class Completion, class... Results>
void callGuarded(const char* task, const Completion& completion, Results&&... results) {
  try {
    completion(std::forward<Results>(results)...);
  } catch (const std::exception& exception) {
    NSLog(std::string("The completion of a ") + task + " threw an exception: " + exception.what());
  } catch (...) {
    NSLog(std::string("The completion of a ") + task + " threw an exception.");
  }
}

}  // namespace platform
