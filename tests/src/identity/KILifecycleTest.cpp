#include "src/identity/lifecycle/KILifecycle.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <stdexcept>

#include "platform/dispatch/ThreadScheduler.h"
#include "platform/foundation/NSFileManager.h"
#include "platform/foundation/NSUserDefaults.h"
#include "src/core/KIBailer.h"
#include "src/core/KovaLogger.h"
#include "src/identity/lifecycle/KILifecycleEvent.h"
#include "tests/support/ResourceLimit.h"
#include "tests/support/SimulatedDevice.h"

using namespace platform;
using testing::ElementsAre;

namespace {

using Text = std::optional<std::string>;

class KILifecycleTest : public testing::Test {
 protected:
  KILifecycleTest() { KovaLogger::sharedInstance().setLogLevel(kKovaLogLevelDebug); }

  static std::shared_ptr<NSUserDefaults> suite() {
    return NSUserDefaults::withSuiteName("io.kova.lifecycleEvents");
  }

  void setBundle(const Text& version, const Text& build) {
    MutableDictionary facts;
    if (version) facts.set("CFBundleShortVersionString", *version);
    if (build) facts.set("CFBundleVersion", *build);
    device.setBundleFacts(Dictionary(std::move(facts)));
  }
  // A start of the app in that version.
  std::shared_ptr<KILifecycleEvent> startAs(const Text& version, const Text& build) {
    setBundle(version, build);
    return KILifecycle::lifecycleEventIfAppVersionChangeWithOptions(KovaOptions());
  }
  static Value dictionaryOf(const KILifecycleEvent& event) {
    return Dictionary(event.mutableEventDictionary());
  }
  static Value fields(const char* previous, const char* previousBuild, const char* current, const char* build,
                      bool isUpgrade) {
    return {{"previousVersionCode", previous},
            {"previousBuildType", previousBuild},
            {"currentVersionCode", current},
            {"currentBuildType", build},
            {"isUpgrade", isUpgrade}};
  }

  SimulatedDevice device;
};

TEST_F(KILifecycleTest, ReportsAnInstallationAtTheTimeTheDocumentsDirectoryWasMade) {
  const auto attributes = NSFileManager().attributes(directories().documents);
  const double made = std::get<FileAttributes>(attributes).creationDate->timeIntervalSince1970();
  const std::string madeText = std::to_string(std::llround(made * 1000));
  ASSERT_NE(madeText, SimulatedDevice::kStartTime);

  const auto event = startAs("1.0", "1");
  ASSERT_TRUE(event);
  EXPECT_EQ(event->timestamp(), madeText);
  EXPECT_EQ(event->kind(), "lifecycleEvent");
  EXPECT_EQ(event->appVisibilityState(), 0);
  EXPECT_EQ(dictionaryOf(*event), fields("<null>", "<null>", "1.0", "1", false));
  EXPECT_EQ(
      event->description(),
      "<current version: <version: 1.0, build: 1>, previous version: <version: (null), build: (null)>>");
  EXPECT_EQ(suite()->stringForKey("version"), "1.0");
  EXPECT_EQ(suite()->stringForKey("build"), "1");
  EXPECT_THAT(
      device.log(),
      ElementsAre(
          "[KOVA DEBUG]: (Lifecycle) This is the app's first run after an installation or an upgrade.",
          "[KOVA DEBUG]: (Lifecycle) currentVersion: <version: 1.0, build: 1>, prevVersion: "
          "<version: (null), build: (null)>",
          std::string("[KOVA DEBUG]: (Lifecycle) Overriding the 'install' lifecycle event's timestamp "
                      "from ") +
              SimulatedDevice::kStartTime + " to " + madeText));
}

TEST_F(KILifecycleTest, ReportsAChangeOfVersionOrBuildOnce) {
  startAs("1.0", "1");
  device.clearLog();
  EXPECT_FALSE(startAs("1.0", "1"));
  EXPECT_THAT(device.log(),
              ElementsAre("[KOVA DEBUG]: (Lifecycle) No version change detected; not sending an "
                          "'upgrade' lifecycle event."));

  const auto build = startAs("1.0", "2");
  ASSERT_TRUE(build);
  EXPECT_EQ(dictionaryOf(*build), fields("1.0", "1", "1.0", "2", true));
  EXPECT_EQ(build->timestamp(), SimulatedDevice::kStartTime);
  EXPECT_FALSE(startAs("1.0", "2"));

  // There is no order of versions.
  const auto downgrade = startAs("0.9", "2");
  ASSERT_TRUE(downgrade);
  EXPECT_TRUE(downgrade->isUpgrade());
  EXPECT_EQ(downgrade->version().version(), "0.9");
  EXPECT_EQ(downgrade->prevVersion().version(), "1.0");
  EXPECT_FALSE(startAs("0.9", "2"));
}

TEST_F(KILifecycleTest, TakesHalfAStoredVersionForAFirstRun) {
  suite()->setObject("0.5", "version");
  const auto event = startAs("1.0", "1");
  ASSERT_TRUE(event);
  EXPECT_EQ(dictionaryOf(*event), fields("0.5", "<null>", "1.0", "1", false));
  EXPECT_NE(event->timestamp(), SimulatedDevice::kStartTime);
}

TEST_F(KILifecycleTest, ReportsNothingForAnAppWithoutVersionOrBuild) {
  EXPECT_FALSE(startAs("1.0", std::nullopt));
  EXPECT_FALSE(startAs(std::nullopt, "1"));
  EXPECT_FALSE(startAs(std::nullopt, std::nullopt));
  EXPECT_FALSE(suite()->stringForKey("version"));
  EXPECT_FALSE(suite()->stringForKey("build"));
}

TEST_F(KILifecycleTest, PrefersTheVersionOfTheOptions) {
  KovaOptions options;
  options.setTestOnlyAppVersion("7.0");
  EXPECT_EQ(KILifecycle::currentVersionWithOptions(options).description(), "<version: 7.0, build: 1>");
  options.setTestOnlyAppBuild("70");
  EXPECT_EQ(KILifecycle::currentVersionWithOptions(options).description(), "<version: 7.0, build: 70>");
}

TEST_F(KILifecycleTest, KeepsItsOwnTimeWhereTheInstallationTimeIsUnknown) {
  std::filesystem::remove(directories().documents);
  const auto event = startAs("1.0", "1");
  ASSERT_TRUE(event);
  EXPECT_EQ(event->timestamp(), SimulatedDevice::kStartTime);
  EXPECT_EQ(device.logLinesWith("(Lifecycle) Failed to determine installation time with error: ").size(), 1u);
}

TEST_F(KILifecycleTest, DecidesNothingOnceTheLibraryHasBailed) {
  KIBailer::sharedBailer().bailWithSource("a test");
  EXPECT_FALSE(startAs("1.0", "1"));
  EXPECT_FALSE(suite()->stringForKey("version"));
}

TEST(KILifecycle, AFailureEndsTheLibraryAndNotTheHost) {
  struct BrokenClock : Scheduler {
    NSDate now() override { throw std::runtime_error("no clock"); }
    double uptime() override { return real.uptime(); }
    std::shared_ptr<DispatchQueue> makeSerialQueue(std::string label, QualityOfService quality) override {
      return real.makeSerialQueue(std::move(label), quality);
    }
    RunLoop& mainRunLoop() override { return real.mainRunLoop(); }
    bool isMainThread() override { return real.isMainThread(); }
    ThreadScheduler real;
  };
  Scheduler::install(std::make_unique<BrokenClock>());
  KovaOptions options;
  options.setTestOnlyAppVersion("1.0");
  options.setTestOnlyAppBuild("1");
  EXPECT_EQ(KILifecycle::lifecycleEventIfAppVersionChangeWithOptions(options), nullptr);
  EXPECT_EQ(KIBailer::sharedBailer().bailedSource(),
            "KILifecycle/lifecycleEventIfAppVersionChangeWithOptions:");
}

TEST_F(KILifecycleTest, WaitsForAStartWithTrackingEnabled) {
  const auto options = device.options();
  options->setDisableTracking(true);
  device.start(options);
  device.drain();
  EXPECT_FALSE(suite()->stringForKey("version"));

  device.start();
  device.runUntil([this] { return !device.receivedTargets("/h").empty(); });
  device.advance(15);
  device.runUntil([this] { return !device.receivedBatches().empty(); });
  const auto messages = device.receivedMessages();
  ASSERT_EQ(messages.size(), 1u);
  EXPECT_EQ(
      *messages[0].find("event"),
      (Value{{"lifecycleEvent", fields("<null>", "<null>", "1.0", "1", false)}, {"appVisibilityState", 0}}));
  EXPECT_EQ(suite()->stringForKey("version"), "1.0");
}

// Killed between the two, a process would else lose the event, or make it again.
TEST_F(KILifecycleTest, TheVersionIsStoredBehindItsEventAndTheEventOnce) {
  device.store("somebodyElses", std::string(200'000, 'x'));
  device.setOnline(false);
  {
    const auto full = ResourceLimit::fileSize(100'000);  // for that database, whose log is longer
    device.start();
    device.drain();
    EXPECT_FALSE(suite()->stringForKey("version"));
  }
  device.start();
  device.drain();
  EXPECT_EQ(suite()->stringForKey("version"), "1.0");
  EXPECT_FALSE(device.stored("lifecycleEventVersion"));
  device.setOnline(true);
  Kova::track("Checkout");
  device.advance(15);
  device.runUntil([this] { return device.receivedMessages().size() == 2; });
  EXPECT_TRUE(device.receivedMessages()[0].find("event")->dictionary().find("lifecycleEvent"));
  EXPECT_TRUE(device.receivedMessages()[1].find("event")->dictionary().find("customEvent"));
}

}  // namespace
