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

TEST_F(BaseURLTest, NilIsTheLibrarysOwnEndpointAndADebugLineSaysSoAndWhatIsNoWebURLIsNone) {
  const auto noURL = NSURL::create("127.0.0.1:8080");
  for (const KovaBaseURL& nil : std::vector<KovaBaseURL>{{}, std::nullopt, nullptr, noURL})
    EXPECT_EQ(kova::captureEndpoint(nil), kova::defaultCaptureEndpoint());
  for (const std::string url : {"http://h:1/a/", "HTTPS://h"}) {
    EXPECT_EQ(kova::captureEndpoint(url), NSURL::create(url));
    EXPECT_EQ(kova::captureEndpoint(NSURL::create(url)), NSURL::create(url));
  }
  EXPECT_EQ(kova::captureEndpoint(NSURL::create("ftp://h/")), std::nullopt);
  for (const char* text :
       {"127.0.0.1:8080", "//h/", "wss://h/", "http://bad host:x/", "", static_cast<const char*>(nullptr)})
    EXPECT_EQ(kova::captureEndpoint(text), std::nullopt) << (text ? text : "null");

  device.setOnline(false);
  const auto options = std::make_shared<KovaOptions>();
  options->setDebug(true);
  device.start(options);
  EXPECT_THAT(device.logLinesWith("nil; "), ElementsAre());
  options->setCaptureBaseUrl(noURL);
  options->setEventVisualizerWebSocketBaseUrl({});
  device.start(options);
  EXPECT_THAT(
      device.logLinesWith("nil; "),
      ElementsAre(
          "[KOVA DEBUG]: The capture base URL was set to nil; everything goes to https://capture.kova.example/"));
}

// Whatever left for the library's own endpoint would come by here as its proxy.
TEST_F(BaseURLTest, WhatIsNoWebURLSendsNothingAnywhereAndWhatIsSentTakesTheProxyOfTheEnvironment) {
  for (const char* proxy : {"http_proxy", "https_proxy"}) setenv(proxy, device.service.url().c_str(), 1);
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

  options->setCaptureBaseUrl("http://capture.example/");
  device.start(options);
  Kova::track("Again");
  device.runUntil([this] { return device.service.requestCount() > 2; });
  EXPECT_THAT(device.service.lastRequest().target, StartsWith("http://capture.example/"));
}

}  // namespace
