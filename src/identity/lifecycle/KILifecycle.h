#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "src/core/Threads.h"
#include "src/identity/lifecycle/KILifecycleVersion.h"

class KILifecycleEvent;
class KovaOptions;
namespace platform {
class NSUserDefaults;
}

// Tells once a start whether the app's version or build changed since the last one, and remembers the present
// ones in a user-defaults suite of the library's own. Class operations.
class KILifecycle {
 public:
  KILifecycle() = delete;

  // Where the persistent store keeps the version whose event it holds, until the version is stored itself.
  static constexpr const char* kStoredEventKey = "lifecycleEventVersion";

  struct HandOver {
    // Gets the event before the version is stored that keeps it from being made again, and answers whether to
    // store that version now.
    std::function<bool(const KILifecycleEvent& event)> store;
    // The present version is the stored one: it has just become so, or nothing has changed.
    std::function<void()> versionIsStored;
  };
  // The install or upgrade event; null when nothing changed, when the library has bailed and when deciding
  // fails.
  static std::shared_ptr<KILifecycleEvent> lifecycleEventIfAppVersionChangeWithOptions(
      const KovaOptions& options, const HandOver& handOver = {}) KOVA_ON_MUTATION_QUEUE;

  // None when it cannot be told for the moment.
  static std::optional<KILifecycleVersion> previousVersionWithDefaults(platform::NSUserDefaults& defaults);
  static KILifecycleVersion currentVersionWithOptions(const KovaOptions& options);
  // False when the suite could not be written.
  static bool persistNewVersion(const KILifecycleVersion& version, platform::NSUserDefaults& defaults);
  // The next start is a first one. False when the suite could not be written.
  static bool forgetVersion();
  // When the documents directory was made, in milliseconds since 1970; none where the file system does not
  // tell.
  static std::optional<std::string> installationTime();

 private:
  static std::shared_ptr<KILifecycleEvent> unsafeLifecycleEventIfAppVersionChangeWithOptions(
      const KovaOptions& options, const HandOver& handOver) KOVA_ON_MUTATION_QUEUE;
};
