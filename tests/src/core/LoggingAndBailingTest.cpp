#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/foundation/SystemLog.h"
#include "src/core/KIBailer.h"
#include "src/core/KovaLogger.h"
#include "src/telemetry/KITelemetry.h"
#include "tests/support/SimulatedDevice.h"

using namespace platform;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

class LoggingAndBailingTest : public testing::Test {
 protected:
  SimulatedDevice device;
};

TEST_F(LoggingAndBailingTest, EachLevelAddsLinesWithItsPrefix) {
  const std::vector<std::string> lines = {"Kova: a 1", "[KOVA DEBUG]: b 2", "[KOVA VERBOSE]: c 100%"};
  for (const int level : {0, 1, 2}) {
    KovaLogger::sharedInstance().setLogLevel(level);
    device.clearLog();
    KovaLog("a %ld", 1L);
    KovaLogDebug("b %@", 2);
    KovaLogVerbose("c %lu%%", 100ul);
    EXPECT_EQ(device.log(), std::vector(lines.begin(), lines.begin() + level + 1));
    EXPECT_TRUE(KovaLoggingEnabled(level));
    EXPECT_FALSE(KovaLoggingEnabled(level + 1));
  }
}

TEST_F(LoggingAndBailingTest, AMessageAboveTheLevelIsNotFormatted) {
  struct Probe {
    int& descriptions;
    std::string description() const { return std::to_string(++descriptions); }
  };
  int descriptions = 0;
  KovaLogDebug("%@", Probe{descriptions});
  KovaLogVerbose("%@", Probe{descriptions});
  EXPECT_EQ(descriptions, 0);
  KovaLog("%@", Probe{descriptions});
  EXPECT_THAT(device.log(), ElementsAre("Kova: 1"));
}

TEST_F(LoggingAndBailingTest, AReportDoesNotBailAndABailNamesTheLatestSource) {
  KIBailer& bailer = KIBailer::sharedBailer();
  KITelemetry::sharedTelemetry().setBaseUrl(NSURL::create(device.service.url()));
  KITelemetry::sharedTelemetry().setOptOutStatus(false);
  const NSException exception("CartException", std::nullopt, Dictionary{{"items", 3}});

  bailer.registerException(exception, kova::Place("NSObject", "checkout:"), false);
  EXPECT_FALSE(bailer.isBailed());
  EXPECT_EQ(bailer.bailedSource(), std::nullopt);
  EXPECT_THAT(device.log(),
              ElementsAre(StartsWith("Kova: The Kova library caught an exception at NSObject/checkout:. "
                                     "(name: CartException, reason: (null), userInfo: {\n    items = "
                                     "3;\n}, stacktrace: (\n")));
  device.clearLog();
  bailer.registerException(exception, "First/source");
  EXPECT_TRUE(bailer.isBailed());
  EXPECT_EQ(bailer.bailedSource(), "First/source");
  EXPECT_EQ(device.log().size(), 2u);
  EXPECT_EQ(device.log().back(),
            "Kova: The Kova library has been disabled because of an uncaught exception.");
  bailer.registerException(exception, "Second/source", false);
  EXPECT_EQ(bailer.bailedSource(), "First/source");
  bailer.registerException(exception, "Third/source", true);
  EXPECT_EQ(bailer.bailedSource(), "Third/source");
  device.runUntilRequests(4);  // each of them was reported
}

TEST_F(LoggingAndBailingTest, ASystemBefore10IsTooOld) {
  device.setSystemVersion("9.3.5");
  device.start();
  device.advance(60);
  EXPECT_TRUE(KIBailer::sharedBailer().isBailed());
  EXPECT_EQ(KIBailer::sharedBailer().bailedSource(), "assertMinimumOSVersion");
  EXPECT_THAT(device.log(),
              ElementsAre("Kova: The Kova library has been disabled because this device is running a "
                          "version of iOS older than 10.0."));
  EXPECT_EQ(device.service.requestCount(), 0u);
}

TEST_F(LoggingAndBailingTest, ALogSinkMayCallTheLibraryBeforeAnythingElseDid) {
  device.setSystemVersion("9.3.5");
  int lines = 0;
  SystemLog::setSink([&lines](std::string_view) {
    ++lines;
    Kova::track("Logged");
  });
  Kova::track("Started");
  EXPECT_EQ(lines, 1);
  SystemLog::setSink(nullptr);
}

TEST_F(LoggingAndBailingTest, AForkedChildIsSilentAndSaysSoOnce) {
  const auto options = device.options();
  options->setDebug(true);
  device.startAndSettle(options);
  device.clearLog();
  const std::size_t before = device.service.requestCount();
  if (fork() == 0) {
    Kova::track("Tracked in the child");
    Kova::identify("child");
    Kova::initialize(SimulatedDevice::kEnvironment);
    device.advance(60);
    const auto log = device.log();
    _exit(log.size() == 1 && log[0].find("forked") != std::string::npos ? 0 : 1);
  }
  int status = -1;
  ASSERT_GT(wait(&status), 0);
  EXPECT_EQ(status, 0);
  EXPECT_FALSE(KIBailer::sharedBailer().isBailed());
  EXPECT_EQ(device.service.requestCount(), before);
  EXPECT_EQ(Kova::identity(), std::nullopt);
}

TEST_F(LoggingAndBailingTest, System10WillDo) {
  device.setSystemVersion("10.0");
  EXPECT_FALSE(KIBailer::sharedBailer().isBailed());
  EXPECT_THAT(device.log(), IsEmpty());
}

}  // namespace
