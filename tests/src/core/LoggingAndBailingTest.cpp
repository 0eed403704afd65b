#include <sys/wait.h>
#include <unistd.h>

#include "platform/foundation/SystemLog.h"
#include "src/core/KIBailer.h"
#include "src/telemetry/KITelemetry.h"
#include "tests/src/core/TrackerFixture.h"

using namespace platform;
using namespace testing;

namespace {

using LoggingAndBailingTest = TrackerTest;

TEST_F(LoggingAndBailingTest, EachLevelAddsLinesWithItsPrefixAndFormatsNoOther) {
  struct Probe {
    int& descriptions;
    std::string description() const { return std::to_string(++descriptions); }
  };
  const std::vector<std::string> lines = {"Kova: a 1 1", "[KOVA DEBUG]: b 2 2", "[KOVA VERBOSE]: c 3% 3"};
  for (const int level : {0, 1, 2}) {
    int descriptions = 0;
    KovaLogger::sharedInstance().setLogLevel(level);
    device.clearLog();
    KovaLog("a %@ %ld", Probe{descriptions}, 1L);
    KovaLogDebug("b %@ %@", Probe{descriptions}, 2);
    KovaLogVerbose("c %@%% %lu", Probe{descriptions}, 3ul);
    EXPECT_EQ(device.log(), std::vector(lines.begin(), lines.begin() + level + 1));
    EXPECT_EQ(descriptions, level + 1);
  }
}

TEST_F(LoggingAndBailingTest, AReportDoesNotBailAndABailNamesTheLatestSource) {
  KIBailer& bailer = KIBailer::sharedBailer();
  KITelemetry::sharedTelemetry().setBaseUrl(NSURL::create(device.service.url()));
  KITelemetry::sharedTelemetry().setOptOutStatus(false);
  const NSException exception("CartException", std::nullopt, Dictionary{{"items", 3}});
  const char* bailedSource = nullptr;
  for (const auto& [source, bails] : {std::pair("NSObject/checkout:", false),
                                      {"First/source", true},
                                      {"Second/source", false},
                                      {"Third/source", true}}) {
    device.clearLog();
    bailer.registerException(exception, source, bails);
    if (bails) bailedSource = source;
    EXPECT_EQ(bailer.isBailed(), bailedSource != nullptr);
    EXPECT_EQ(bailer.bailedSource().value_or(""), bailedSource ? bailedSource : "");
    EXPECT_EQ(device.log().size(), bails ? 2u : 1u);
    EXPECT_THAT(
        device.log()[0],
        StartsWith(
            std::string("Kova: The Kova library caught an exception at ") + source +
            ". (name: CartException, reason: (null), userInfo: {\n    items = 3;\n}, stacktrace: (\n"));
  }
  device.runUntilRequests(4);  // each of them was reported
}

// Not while the bailer is made, which the log sink's call asks for again.
TEST_F(LoggingAndBailingTest, ASystemBefore10IsTooOldAndTheLogSinkToldOfItMayCallTheLibrary) {
  device.setSystemVersion("9.3.5");
  std::string lines;
  SystemLog::setSink([&lines](std::string_view line) {
    lines += line;
    Kova::track("Logged");
  });
  device.start();
  device.advance(60);
  SystemLog::setSink(nullptr);
  EXPECT_EQ(
      lines,
      "Kova: The Kova library has been disabled because this device is running a version of iOS older than 10.0.");
  EXPECT_EQ(KIBailer::sharedBailer().bailedSource(), "assertMinimumOSVersion");
  EXPECT_EQ(device.service.requestCount(), 0u);
}

TEST_F(LoggingAndBailingTest, System10WillDo) {
  device.setSystemVersion("10.0");
  EXPECT_FALSE(KIBailer::sharedBailer().isBailed());
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

}  // namespace
