#include "platform/foundation/SeparatePart.h"

#include <dlfcn.h>

#include <string>

#include "platform/foundation/SystemLog.h"

namespace platform {

void* SeparateLibrary::find(const char* function) {
  if (!name_) return nullptr;
  MutexLock lock(mutex_);
  // Bound at once: what is missing is missing here, and not in the middle of a drawing.
  if (!handle_) handle_ = dlopen(name_, RTLD_NOW | RTLD_LOCAL);
  void* const found = handle_ ? dlsym(handle_, function) : nullptr;
  if (found || isFailureTold_) return found;
  isFailureTold_ = true;
  const char* const reason = dlerror();
  const std::string line = std::string("A library could not be loaded: ") + (reason ? reason : name_);
  lock.unlock();  // the log's sink may show the line, and measure it first
  NSLog(line);
  return nullptr;
}

}  // namespace platform
