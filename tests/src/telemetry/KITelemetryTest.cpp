#include "src/telemetry/KITelemetry.h"

#include <gmock/gmock.h>

#include <algorithm>

#include "tests/support/SimulatedDevice.h"

using namespace platform;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;

namespace {

constexpr const char* kFallbackMetadata =
    R"("sdk_metadata":{"source":"ios","platform_type":"ios"},"device_metadata":{},"app_metadata":{})";

class KITelemetryTest : public testing::Test {
 protected:
  static void report(const std::string& source) {
    KITelemetry::sharedTelemetry().notifyBailedWithException(NSException("CartException", "on \"fire\""),
                                                             source);
  }
  std::vector<std::string> bodies() const {
    std::vector<std::string> bodies;
    for (const HttpServer::Request& request : device.service.requests()) {
      if (request.path() == "/api/mobile_telemetry") bodies.push_back(request.body);
    }
    return bodies;
  }
  void runUntilBodies(std::size_t count) {
    device.runUntil([this, count] { return bodies().size() >= count; });
  }
  // The text of one report.
  static std::string bodyWith(const std::string& source, const std::string& metadata) {
    return R"({"telemetry_logs":[{"custom_message":"CartException: on \"fire\"","source":")" + source +
           R"(","event_type":"kova bailed","log_type":"error",)" + metadata + "}]}";
  }

  SimulatedDevice device;
};

TEST_F(KITelemetryTest, ReportsBeforeTheChoiceAreSentWithTheFallbackMetadataOnceOptedIn) {
  report("Cart/checkout:");
  report("Cart/checkout:");  // equal reports are held back once
  device.start();
  runUntilBodies(1);
  report("Cart/later:");
  runUntilBodies(2);
  EXPECT_THAT(
      bodies(),
      ElementsAre(
          bodyWith("Cart/checkout:", kFallbackMetadata),
          bodyWith(
              "Cart/later:",
              R"("sdk_metadata":{"source":"ios","platform_type":"ios","native_sdk_version":"9.0.0"},)"
              R"("device_metadata":{"os_version":"17.0","device_model":"iPhone15,2"},)"
              R"("app_metadata":{"app_identifier":"Example App","version_string":"1.0","env_id":"12345"})")));
  for (const HttpServer::Request& request : device.service.requests()) {
    if (request.path() != "/api/mobile_telemetry") continue;
    EXPECT_EQ(request.method, "POST");
    EXPECT_EQ(*request.header("Content-Type"), "application/json");
    EXPECT_EQ(request.countOfHeader("Content-Length"), 1u);
    EXPECT_EQ(*request.header("Content-Length"), std::to_string(request.body.size()));
  }
}

TEST_F(KITelemetryTest, ReportsAreNeverSentOnceOptedOutUntilTheChoiceChanges) {
  KITelemetry& telemetry = KITelemetry::sharedTelemetry();
  report("Cart/before:");
  const auto options = device.options();
  options->setDisableTelemetryCapture(true);
  device.startAndSettle(options);
  EXPECT_EQ(telemetry.optOutStatus(), KITelemetry::OptOutStatus::OptedOut);
  report("Cart/dropped:");
  telemetry.notifyEmptyPOSTRequestBody();  // asks for no choice, and shows what has arrived before it
  runUntilBodies(1);
  EXPECT_THAT(bodies(), ElementsAre(HasSubstr("Empty request body")));

  telemetry.setOptOutStatus(false);
  report("Cart/after:");
  runUntilBodies(3);
  EXPECT_THAT(bodies(), Not(Contains(HasSubstr("Cart/dropped:"))));
  EXPECT_THAT(bodies(), Contains(HasSubstr("Cart/before:")));
  telemetry.setOptOutStatus(false);
  report("Cart/last:");
  runUntilBodies(4);
  EXPECT_THAT(bodies(), SizeIs(4)) << "what was held back is sent once";
}

TEST_F(KITelemetryTest, AtMostTenEmptyBodiesAreReportedInAMinute) {
  KITelemetry& telemetry = KITelemetry::sharedTelemetry();
  telemetry.setBaseUrl(NSURL::create(device.service.url()));
  telemetry.setOptOutStatus(false);
  const auto reportEmptyBodies = [&](int times) {
    for (int i = 0; i < times; ++i) telemetry.notifyEmptyPOSTRequestBody();
  };
  reportEmptyBodies(11);
  runUntilBodies(10);
  EXPECT_EQ(bodies()[0], R"({"telemetry_logs":[{"custom_message":"Empty request body",)"
                         R"("event_type":"empty request body","log_type":"info",)" +
                             std::string(kFallbackMetadata) + "}]}");
  device.advance(60);
  reportEmptyBodies(1);  // the period lasts more than 60 s
  device.advance(1);
  reportEmptyBodies(3);
  report("last");  // all have arrived when it has
  device.runUntil(
      [this] { return std::ranges::any_of(bodies(), [](auto& b) { return b.find("last") != b.npos; }); });
  runUntilBodies(10 + 3 + 1);
  EXPECT_THAT(bodies(), SizeIs(10 + 3 + 1));
}

TEST_F(KITelemetryTest, AnExceptionMayHaveNoReason) {
  KITelemetry& telemetry = KITelemetry::sharedTelemetry();
  telemetry.setBaseUrl(NSURL::create(device.service.url()));
  telemetry.notifyBailedWithException(NSException("CartException"), "Cart/checkout:");
  telemetry.setOptOutStatus(false);
  runUntilBodies(1);
  EXPECT_THAT(bodies(), ElementsAre(HasSubstr("\"custom_message\":\"CartException: (null)\",\"source\"")));
}

}  // namespace
