#include "src/identity/lifecycle/KILifecycle.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>

#include "platform/foundation/NSFileManager.h"
#include "platform/foundation/NSUserDefaults.h"
#include "platform/foundation/internal/UserDefaultsDatabase.h"
#include "src/core/KovaLogger.h"
#include "src/identity/lifecycle/KILifecycleEvent.h"
#include "tests/support/Json.h"
#include "tests/support/ResourceLimit.h"
#include "tests/support/SimulatedDevice.h"

using namespace platform;
using testing::ElementsAre;

namespace {

class KILifecycleTest : public testing::Test {
 protected:
  KILifecycleTest() { KovaLogger::sharedInstance().setLogLevel(kKovaLogLevelDebug); }

  static std::shared_ptr<NSUserDefaults> suite() {
    return NSUserDefaults::withSuiteName("io.kova.lifecycleEvents");
  }
  // Null texts are left out.
  static void store(const char* version, const char* build) {
    for (const auto& [key, text] : {std::pair("version", version), {"build", build}}) {
      suite()->removeObjectForKey(key);
      if (text) suite()->setObject(text, key);
    }
  }
  static KILifecycleVersion stored() {
    return {suite()->stringForKey("version"), suite()->stringForKey("build")};
  }
  static std::optional<std::string> versionOnDisk() {
    UserDefaultsDatabase database(directories().preferences + "/io.kova.lifecycleEvents.sqlite");
    const auto text = database.read("version");
    return text ? std::optional(text->text) : std::nullopt;
  }
  // A start of the app in that version.
  std::shared_ptr<KILifecycleEvent> startAs(const char* version, const char* build) {
    MutableDictionary facts;
    if (version) facts.set("CFBundleShortVersionString", version);
    if (build) facts.set("CFBundleVersion", build);
    device.setBundleFacts(Dictionary(std::move(facts)));
    device.clearLog();
    return KILifecycle::lifecycleEventIfAppVersionChangeWithOptions(KovaOptions());
  }
  // When the documents directory was made.
  static std::string installationTime() {
    const auto attributes = NSFileManager().attributes(directories().documents);
    const double made = std::get<FileAttributes>(attributes).creationDate->timeIntervalSince1970();
    return std::to_string(std::llround(made * 1000));
  }

  SimulatedDevice device;
};

TEST_F(KILifecycleTest, ReportsAnInstallationAndEachChangeOnce) {
  const struct {
    const char *storedVersion, *storedBuild, *version, *build;
    std::string event;
  } cases[] = {
      {nullptr, nullptr, "1.0", "1", "<version: (null), build: (null)>> installation"},
      {"0.5", nullptr, "1.0", "1", "<version: 0.5, build: (null)>> installation"},  // half counts as none
      {"1.0", "1", "1.0", "1", ""},
      {"1.0", "1", "1.0", "2", "<version: 1.0, build: 1>> upgrade"},
      {"1.0", "2", "0.9", "2", "<version: 1.0, build: 2>> upgrade"},  // there is no order of versions
      {nullptr, nullptr, "1.0", nullptr, ""},
      {nullptr, nullptr, nullptr, "1", ""}};
  for (const auto& [storedVersion, storedBuild, version, build, expected] : cases) {
    SCOPED_TRACE(expected);
    store(storedVersion, storedBuild);
    const std::string before = stored().description();
    const auto event = startAs(version, build);
    const std::string now = event ? KILifecycleVersion(version, build).description() : before;
    EXPECT_EQ(stored().description(), now);
    ASSERT_EQ(event != nullptr, !expected.empty());
    if (!event) continue;
    EXPECT_EQ(event->description() + (event->isUpgrade() ? " upgrade" : " installation"),
              "<current version: " + now + ", previous version: " + expected);
    EXPECT_EQ(event->timestamp(), event->isUpgrade() ? SimulatedDevice::kStartTime : installationTime());
    EXPECT_EQ(startAs(version, build), nullptr);
  }
}

TEST_F(KILifecycleTest, TellsWhatItFound) {
  startAs("1.0", "1");
  const std::string line = "[KOVA DEBUG]: (Lifecycle) ";
  EXPECT_THAT(
      device.log(),
      ElementsAre(
          line + "This is the app's first run after an installation or an upgrade.",
          line + "currentVersion: <version: 1.0, build: 1>, prevVersion: <version: (null), build: (null)>",
          line + "Overriding the 'install' lifecycle event's timestamp from " + SimulatedDevice::kStartTime +
              " to " + installationTime()));
  startAs("1.0", "1");
  EXPECT_THAT(device.log(),
              ElementsAre(line + "No version change detected; not sending an 'upgrade' lifecycle event."));

  std::filesystem::remove(directories().documents);
  store(nullptr, nullptr);
  EXPECT_EQ(startAs("1.0", "1")->timestamp(), SimulatedDevice::kStartTime);
  EXPECT_EQ(device.logLinesWith(line + "Failed to determine installation time with error: ").size(), 1u);
}

TEST_F(KILifecycleTest, PrefersTheVersionOfTheOptions) {
  KovaOptions options;
  Kova::startHost({.name = "Tool", .directory = directories().documents});
  EXPECT_EQ(KILifecycle::currentVersionWithOptions(options).description(), "<version: (null), build: 1>")
      << "a host that states none has none";
  options.setTestOnlyAppVersion("7.0");
  EXPECT_EQ(KILifecycle::currentVersionWithOptions(options).description(), "<version: 7.0, build: 1>");
  options.setTestOnlyAppBuild("70");
  EXPECT_EQ(KILifecycle::currentVersionWithOptions(options).description(), "<version: 7.0, build: 70>");
}

struct Obstacle {
  const char* name;
  std::function<void(SimulatedDevice& device)> arise;
  friend void PrintTo(const Obstacle& obstacle, std::ostream* out) { *out << obstacle.name; }
};
const std::string kLong(200'000, 'x');  // a database that holds it has a log longer than its file may be
const Obstacle kObstacles[] = {
    {"TheEventCannotBeWritten", [](SimulatedDevice& device) { device.store("somebodyElses", kLong); }},
    {"TheVersionCannotBeWritten",
     [](SimulatedDevice&) {
       NSUserDefaults::withSuiteName("io.kova.lifecycleEvents")->setObject(kLong, "long");
     }},
    {"TheQueueIsFull",
     [](SimulatedDevice& device) {
       device.store("queuedMessageBatches", Array(std::vector<Value>(200, {{"messagesIdentifier", "gone"}})));
     }},
    {"TrackingIsDisabled", nullptr}};
class ObstacleTest : public KILifecycleTest, public testing::WithParamInterface<Obstacle> {};
INSTANTIATE_TEST_SUITE_P(KILifecycle, ObstacleTest, testing::ValuesIn(kObstacles));

// Killed between the two, a process would else lose the event, or make it again.
TEST_P(ObstacleTest, TheVersionIsStoredBehindItsEventAndTheEventOnce) {
  const auto options = device.options();
  options->setDisableTracking(!GetParam().arise);
  auto held = suite();  // while it is open, its log only grows
  if (GetParam().arise) GetParam().arise(device);
  device.setOnline(false);
  {
    const auto full = ResourceLimit::fileSize(100'000);
    device.start(options);
    device.drain();
    EXPECT_FALSE(versionOnDisk());
    held = nullptr;  // as a process that ends
  }
  device.setOnline(true);
  Kova::changeInterval(15);  // sends at once, and makes room
  device.drain();
  device.settle();
  device.start();
  Kova::track("Checkout");
  device.drain();
  EXPECT_EQ(versionOnDisk(), "\"1.0\"");
  EXPECT_FALSE(device.stored("lifecycleEventVersion"));
  device.settle();
  device.advance(15);
  device.runUntil([this] { return device.receivedMessages().size() == 2; });
  EXPECT_EQ(at(device.receivedMessages()[0], "event/lifecycleEvent/currentVersionCode"), Value("1.0"));
  EXPECT_EQ(at(device.receivedMessages()[1], "event/customEvent/type"), Value("Checkout"));
}

}  // namespace
