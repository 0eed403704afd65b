// Where the host's data goes, and where it does not.

#include <stdlib.h>

#include "src/telemetry/CaptureEndpoint.h"
#include "src/telemetry/KITelemetry.h"
#include "tests/src/core/TrackerFixture.h"

using namespace platform;
using testing::ElementsAre;
using testing::StartsWith;

namespace {

using BaseURLTest = TrackerTest;

void report() {
  KITelemetry::sharedTelemetry().notifyBailedWithException(NSException("Fire"), "Cart/checkout:");
}

TEST_F(BaseURLTest, NilIsTheLibrarysOwnEndpointAndWhatIsNoWebURLIsNone) {
  const auto own = kova::defaultCaptureEndpoint();
  const char* const unset = nullptr;
  const struct {
    KovaBaseURL given;
    std::optional<NSURL> expected;
  } cases[] = {{KovaBaseURL(), own},
               {std::nullopt, own},
               {nullptr, own},
               {NSURL::create("127.0.0.1:8080"), own},
               {NSURL::create("http://h:1/a/"), NSURL::create("http://h:1/a/")},
               {"HTTPS://h", NSURL::create("HTTPS://h")},
               {std::string("http://h/"), NSURL::create("http://h/")},
               {NSURL::create("ftp://h/"), std::nullopt},
               {"127.0.0.1:8080", std::nullopt},
               {"//h/", std::nullopt},
               {"wss://h/", std::nullopt},
               {"http://bad host:x/", std::nullopt},
               {"", std::nullopt},
               {unset, std::nullopt}};
  for (const auto& [given, expected] : cases) {
    EXPECT_EQ(kova::captureEndpoint(given), expected)
        << given.unusableText().value_or(given.url() ? given.url()->absoluteString() : "nil");
  }
}

// Whatever left for the library's own endpoint would come by here as its proxy.
TEST_F(BaseURLTest, WhatIsNoWebURLSendsNothingAnywhereAndInitializeSaysSo) {
  setenv("https_proxy", device.service.url().c_str(), 1);
  const auto options = device.options();
  options->setCaptureBaseUrl("127.0.0.1:8080");
  options->setEventVisualizerWebSocketBaseUrl("visualizer.example");
  options->setUseEnvironmentProxy(true);
  options->setTestOnlyUrlSession(nullptr);
  device.start(options);
  EXPECT_THAT(
      device.log(),
      ElementsAre(
          "Kova: The capture base URL \"127.0.0.1:8080\" is not an absolute http or https URL; nothing "
          "will be sent.",
          "Kova: The Event Visualizer's base URL \"visualizer.example\" is not an absolute http or "
          "https URL; nothing will pair."));
  Kova::startEVPairing();
  Kova::track("Checkout");
  device.advance(30);
  report();
  EXPECT_EQ(storedCount("queuedMessageBatches"), 1u) << "it is kept";

  KITelemetry::sharedTelemetry().setBaseUrl(std::nullopt);
  report();
  device.runUntil([this] { return device.service.requestCount() > 0; });
  EXPECT_EQ(device.service.requestCount(), 1u);
  EXPECT_EQ(device.service.lastRequest().method, "CONNECT");
}

TEST_F(BaseURLTest, ADebugLineTellsOfAnExplicitNil) {
  device.setOnline(false);
  for (const bool saysNil : {true, false}) {
    const auto options = std::make_shared<KovaOptions>();
    options->setDebug(true);
    if (saysNil) options->setCaptureBaseUrl(NSURL::create("127.0.0.1:8080"));
    if (saysNil) options->setEventVisualizerWebSocketBaseUrl({});
    device.clearLog();
    device.start(options);
    EXPECT_EQ(
        device.logLinesWith("nil; "),
        std::vector<std::string>(
            saysNil,
            "[KOVA DEBUG]: The capture base URL was set to nil; everything goes to https://capture.kova.example/"));
  }
}

TEST_F(BaseURLTest, UploadsGoThroughTheProxyOfTheEnvironmentWhenTheHostSaysSo) {
  setenv("http_proxy", device.service.url().c_str(), 1);
  const auto options = device.options();
  options->setCaptureBaseUrl("http://capture.example/");
  options->setUseEnvironmentProxy(true);
  options->setTestOnlyUrlSession(nullptr);
  device.start(options);
  device.runUntil([this] { return device.service.requestCount() > 1; });
  for (const auto& request : device.service.requests()) {
    EXPECT_THAT(request.target, StartsWith("http://capture.example/"));
  }
}

}  // namespace
