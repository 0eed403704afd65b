#include "src/identity/lifecycle/KILifecycle.h"

#include <Kova/KovaOptions.h>

#include <variant>

#include "platform/foundation/NSBundle.h"
#include "platform/foundation/NSFileManager.h"
#include "platform/foundation/NSUserDefaults.h"
#include "src/core/Clock.h"
#include "src/core/Guard.h"
#include "src/core/KovaLogger.h"
#include "src/identity/lifecycle/KILifecycleEvent.h"

using namespace platform;

namespace {

constexpr const char* kSuiteName = "io.kova.lifecycleEvents";
constexpr const char* kVersionKey = "version";
constexpr const char* kBuildKey = "build";

}  // namespace

std::shared_ptr<KILifecycleEvent> KILifecycle::lifecycleEventIfAppVersionChangeWithOptions(
    const KovaOptions& options, const HandOver& handOver) {
  return kova::guarded(
      {"KILifecycle", "lifecycleEventIfAppVersionChangeWithOptions:"},
      [&] {
        kova::mutationQueue.isHere();
        return unsafeLifecycleEventIfAppVersionChangeWithOptions(options, handOver);
      },
      std::shared_ptr<KILifecycleEvent>());
}

std::shared_ptr<KILifecycleEvent> KILifecycle::unsafeLifecycleEventIfAppVersionChangeWithOptions(
    const KovaOptions& options, const HandOver& handOver) {
  const auto defaults = NSUserDefaults::withSuiteName(kSuiteName);
  const auto lastRun = previousVersionWithDefaults(*defaults);
  if (!lastRun) {
    KovaLogDebug("(Lifecycle) The version of the last run cannot be read; the next start decides.");
    return nullptr;
  }
  const KILifecycleVersion& previous = *lastRun;
  const KILifecycleVersion current = currentVersionWithOptions(options);
  const bool isFirstRun = current.isFirstRunWithPreviousVersion(previous);
  if (!isFirstRun && !current.isUpgradeFromPreviousVersion(previous)) {
    KovaLogDebug("(Lifecycle) No version change detected; not sending an 'upgrade' lifecycle event.");
    if (handOver.versionIsStored) handOver.versionIsStored();
    return nullptr;
  }
  KovaLogDebug("(Lifecycle) This is the app's first run after an installation or an upgrade.");
  KovaLogDebug("(Lifecycle) currentVersion: %@, prevVersion: %@", current, previous);

  auto event = std::make_shared<KILifecycleEvent>(current, previous);
  if (isFirstRun) {
    if (const auto time = installationTime()) {
      KovaLogDebug("(Lifecycle) Overriding the 'install' lifecycle event's timestamp from %@ to %@",
                   kova::epochString(), *time);
      event->setTimestamp(*time);
    }
  }
  if (handOver.store && !handOver.store(*event)) return event;
  if (persistNewVersion(current, *defaults) && handOver.versionIsStored) handOver.versionIsStored();
  return event;
}

std::optional<KILifecycleVersion> KILifecycle::previousVersionWithDefaults(NSUserDefaults& defaults) {
  const auto version = defaults.stringForKey(kVersionKey);
  const auto build = defaults.stringForKey(kBuildKey);
  if (version.isUnreadable() || build.isUnreadable()) return std::nullopt;
  return KILifecycleVersion(version, build);
}

KILifecycleVersion KILifecycle::currentVersionWithOptions(const KovaOptions& options) {
  const NSBundle& bundle = NSBundle::mainBundle();
  auto version = options.testOnlyAppVersion();
  auto build = options.testOnlyAppBuild();
  if (!version) version = bundle.stringForInfoDictionaryKey("CFBundleShortVersionString");
  if (!build) build = bundle.stringForInfoDictionaryKey("CFBundleVersion");
  return {std::move(version), std::move(build)};
}

bool KILifecycle::persistNewVersion(const KILifecycleVersion& version, NSUserDefaults& defaults) {
  // In one step: half a version counts as none, which makes an installation of the next start.
  const bool isStored = defaults.setObjects({{kVersionKey, Value(version.version().value_or(""))},
                                             {kBuildKey, Value(version.build().value_or(""))}});
  defaults.synchronize();
  return isStored;
}

bool KILifecycle::forgetVersion() {
  const auto defaults = NSUserDefaults::withSuiteName(kSuiteName);
  return defaults->setObjects({{kVersionKey, std::nullopt}, {kBuildKey, std::nullopt}}) &&
         defaults->synchronize();
}

std::optional<std::string> KILifecycle::installationTime() {
  const NSFileManager files;
  const auto attributes = files.attributes(files.directory(SearchPath::Documents));
  if (const auto* error = std::get_if<NSError>(&attributes)) {
    KovaLogDebug("(Lifecycle) Failed to determine installation time with error: %@", *error);
    return std::nullopt;
  }
  const auto created = std::get<FileAttributes>(attributes).creationDate;
  if (created) return kova::epochStringForDate(*created);
  KovaLogDebug("(Lifecycle) Failed to determine installation time with error: %@",
               "the file system does not keep it");
  return std::nullopt;
}
