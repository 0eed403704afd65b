#include "platform/foundation/SeparatePart.h"

#include <dlfcn.h>

#include <string>
#include <string_view>

#include "platform/foundation/SystemLog.h"

namespace platform {

void* SeparateLibrary::find(const char* function) {
  if (!name_) return nullptr;
  // No lock: the loader has its own, and a thread that holds that one may need something of the part. Threads
  // that load it together get the same handle.
  void* handle = handle_.load(std::memory_order_acquire);
  // Bound at once: what is missing is missing here, and not in the middle of a drawing.
  if (!handle) handle = dlopen(name_, RTLD_NOW | RTLD_LOCAL);
  if (handle) handle_.store(handle, std::memory_order_release);
  void* const found = handle ? dlsym(handle, function) : nullptr;
  if (found) return found;
  const char* const reason = dlerror();
  if (isFailureTold_.exchange(true)) return nullptr;
  const std::string_view what =
      handle ? "A library is of another version: " : "A library could not be loaded: ";
  NSLog(std::string(what) + (reason ? reason : name_));
  return nullptr;
}

}  // namespace platform
