#include "src/telemetry/KITelemetry.h"

#include <gmock/gmock.h>

#include <algorithm>

#include "tests/support/SimulatedDevice.h"

using namespace platform;
using namespace testing;

namespace {

constexpr const char* kFallbackMetadata =
    R"("sdk_metadata":{"source":"ios","platform_type":"ios"},"device_metadata":{},"app_metadata":{})";

class KITelemetryTest : public testing::Test {
 protected:
  void report(const std::string& source, std::optional<std::string> reason = "on \"fire\"") {
    telemetry.notifyBailedWithException(NSException("CartException", std::move(reason)), source);
  }
  // Of that many reports, in the order of their arrival.
  std::vector<std::string> bodies(std::size_t count) {
    std::vector<std::string> all;
    device.runUntil([&] {
      all.clear();
      for (const HttpServer::Request& request : device.service.requests())
        if (request.path() == "/api/mobile_telemetry") all.push_back(request.body);
      return all.size() >= count;
    });
    return all;
  }
  // The text of one report.
  static std::string bodyWith(const std::string& source, const std::string& metadata) {
    return R"({"telemetry_logs":[{"custom_message":"CartException: on \"fire\"","source":")" + source +
           R"(","event_type":"kova bailed","log_type":"error",)" + metadata + "}]}";
  }

  SimulatedDevice device;
  KITelemetry& telemetry = KITelemetry::sharedTelemetry();
};

TEST_F(KITelemetryTest, ReportsBeforeTheChoiceAreSentWithTheFallbackMetadataOnceOptedIn) {
  report("Cart/checkout:");
  report("Cart/checkout:");  // equal reports are held back once
  device.start();
  bodies(1);
  report("Cart/later:");
  EXPECT_THAT(
      bodies(2),
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
  report("Cart/before:");
  const auto options = device.options();
  options->setDisableTelemetryCapture(true);
  device.startAndSettle(options);
  EXPECT_EQ(telemetry.optOutStatus(), KITelemetry::OptOutStatus::OptedOut);
  report("Cart/dropped:");
  telemetry.notifyEmptyPOSTRequestBody();  // asks for no choice, and shows what has arrived before it
  EXPECT_THAT(bodies(1), ElementsAre(HasSubstr("Empty request body")));

  telemetry.setOptOutStatus(false);
  report("Cart/after:", std::nullopt);
  bodies(3);
  telemetry.setOptOutStatus(false);  // what was held back is sent once
  report("Cart/last:");
  EXPECT_THAT(
      bodies(4),
      UnorderedElementsAre(HasSubstr("Empty request body"), HasSubstr("Cart/before:"),
                           HasSubstr(R"~("custom_message":"CartException: (null)","source":"Cart/after:")~"),
                           HasSubstr("Cart/last:")));
}

TEST_F(KITelemetryTest, AtMostTenEmptyBodiesAreReportedInAMinute) {
  telemetry.setBaseUrl(NSURL::create(device.service.url()));
  telemetry.setOptOutStatus(false);
  const auto reportEmptyBodies = [&](int times) {
    for (int i = 0; i < times; ++i) telemetry.notifyEmptyPOSTRequestBody();
  };
  reportEmptyBodies(11);
  EXPECT_EQ(bodies(10)[0], R"({"telemetry_logs":[{"custom_message":"Empty request body",)"
                           R"("event_type":"empty request body","log_type":"info",)" +
                               std::string(kFallbackMetadata) + "}]}");
  device.advance(60);
  reportEmptyBodies(1);  // the period lasts more than 60 s
  device.advance(1);
  reportEmptyBodies(3);
  report("last");  // all have arrived when it has
  device.runUntil([this] {
    return std::ranges::any_of(bodies(0),
                               [](const std::string& body) { return body.find("last") != body.npos; });
  });
  EXPECT_EQ(bodies(10 + 3 + 1).size(), 14u);
}

}  // namespace
