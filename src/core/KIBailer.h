#pragma once

#include <atomic>
#include <optional>
#include <string>
#include <string_view>

#include "platform/foundation/NSException.h"
#include "platform/runtime/Mutex.h"
#include "src/core/Place.h"

// The library's last line of defence. Every guarded entry point hands it the exceptions that it catches; once
// it has bailed, the whole library does nothing more for the rest of the process. Nothing is torn down:
// timers and queued work run down into no-ops, and replaced platform methods go on calling the platform's
// own.
//
// One shared instance, never destroyed. Any thread.
class KIBailer {
 public:
  // Made on first use; a system that is too old makes it bail at once.
  static KIBailer& sharedBailer();

  bool isBailed() const { return isBailed_.load(std::memory_order_relaxed); }
  // The place that caused the bail; none until then.
  std::optional<std::string> bailedSource() const;

  void bailWithSource(std::string_view source);
  // For a failure that cannot even be reported; allocates nothing and leaves the source as it is.
  void bailWithoutReport() noexcept { isBailed_ = true; }

  // From now on a child that the process forks has bailed: it has none of the library's threads, and must not
  // touch what the parent stores. It says so in a debug line when the library is called there. Once.
  void bailInForkedChildren();

  // Reports an exception caught at "class/selector" to telemetry and to the log, and bails if asked to.
  void registerException(const platform::NSException& exception, const kova::Place& place, bool bail);
  void registerException(const platform::NSException& exception, std::string_view source, bool bail = true);

 private:
  KIBailer();
  // A line that is logged when the bailer is used next.
  enum class Untold { Nothing, OldSystem, Fork };

  void reset();
  void tell();
  void assertMinimumOSVersion();

  std::atomic<bool> isBailed_ = false;
  std::atomic<Untold> untold_ = Untold::Nothing;
  mutable platform::Mutex mutex_;
  std::optional<std::string> bailedSource_ PLATFORM_GUARDED_BY(mutex_);
};
