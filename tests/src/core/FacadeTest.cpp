// The class that the host calls: what it refuses, what it answers when it can do nothing, and that no
// exception but one ever leaves it.

#include <gmock/gmock.h>

#include "platform/foundation/NSException.h"
#include "platform/net/NSURLError.h"
#include "platform/runtime/NSObject.h"
#include "src/core/KIBailer.h"
#include "src/core/KovaLogger.h"
#include "tests/support/Json.h"
#include "tests/support/SimulatedDevice.h"

using namespace platform;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::StartsWith;

namespace {

constexpr const char* kIds = "[0-9]{16}";

// What makes the library's own code throw when it is described.
class FaultyObject : public NSObject {
  NS_OBJECT(FaultyObject, NSObject)

 public:
  std::string description() const override { throw NSException("CartException", "the cart is on fire"); }
};

class FacadeTest : public testing::Test {
 protected:
  void expectBailed(const std::string& source) const {
    EXPECT_TRUE(KIBailer::sharedBailer().isBailed());
    EXPECT_EQ(KIBailer::sharedBailer().bailedSource(), source);
    EXPECT_THAT(device.log(),
                Contains(StartsWith(
                    "Kova: The Kova library caught an exception at " + source +
                    ". (name: CartException, reason: the cart is on fire, userInfo: (null), stacktrace: (")));
    EXPECT_THAT(device.logLinesWith("disabled"),
                ElementsAre("Kova: The Kova library has been disabled because of an uncaught exception."));
  }

  SimulatedDevice device;
};

// Every method but initialize and the getters.
void callEverything() {
  const NSURL link = NSURL::create("kova-12345://1/launch-ev").value();
  const UIOpenURLContext contexts[] = {UIOpenURLContext(link)};
  Kova::instrumentAutocaptureWithOptions(KovaOptions());
  Kova::handleOpenURL(link);
  Kova::handleOpenURLContexts(contexts);
  Kova::startEVPairing();
  Kova::stopEVPairing();
  Kova::setTrackingEnabled(false);
  Kova::setTrackingEnabled(true);
  Kova::changeInterval(1);
  Kova::track("Event");
  Kova::track("Event", {{"a", 1}});
  Kova::frameworkAutocaptureEvent("Event", "react", {{"a", 1}});
  Kova::frameworkTrack("Event", {{"a", 1}}, "react", {{"a", 1}});
  Kova::addEventProperties({{"a", 1}});
  Kova::removeEventProperty("a");
  Kova::clearEventProperties();
  Kova::addUserProperties({{"a", 1}});
  Kova::identify("ada");
  Kova::identify(Dictionary{{"name", "ada"}});
  Kova::resetIdentity();
  Kova::stopDebug();
}

TEST_F(FacadeTest, InvalidEnvironmentIdFailsAnAssertion) {
  struct {
    const char* id;
    const char* message;
  } const cases[] = {{"", "Kova envId cannot be empty"},
                     {"12a4", "Kova envId must be a numerical value"},
                     {"-1", "Kova envId must be a numerical value"},
                     {"\u0661\u0662", "Kova envId must be a numerical value"},
                     {"0a", "Kova envId must be a numerical value"},
                     {"0123", "Kova envId must not start with a zero."},
                     {"0", "Kova envId must not start with a zero."}};
  for (const bool logsDebug : {true, false}) {
    KovaLogger::sharedInstance().setLogLevel(logsDebug ? 1 : 0);
    for (const auto& [id, message] : cases) {
      device.clearLog();
      try {
        Kova::initialize(id, device.options());
        ADD_FAILURE() << '"' << id << "\" was taken";
      } catch (const NSException& exception) {
        EXPECT_EQ(exception.name(), "NSInternalInconsistencyException");
        EXPECT_EQ(exception.reason(), message);
      }
      std::vector<std::string> expected{"*** Assertion failure in +[Kova initialize:withOptions:], Kova:59"};
      if (logsDebug) expected.insert(expected.begin(), std::string("[KOVA DEBUG]: ") + message);
      EXPECT_EQ(device.log(), expected);
    }
  }
  EXPECT_EQ(Kova::userId(), std::nullopt);
  EXPECT_FALSE(KIBailer::sharedBailer().isBailed());

  Kova::initialize("1234", device.options());
  EXPECT_THAT(Kova::userId().value(), MatchesRegex(kIds));
}

// Every call that takes text or properties, without them.
void callWithout(KovaText text) {
  Kova::track(text);
  Kova::track(text, {{"a", 1}});
  Kova::frameworkAutocaptureEvent(text, "react");
  Kova::frameworkAutocaptureEvent("Event", text);
  Kova::frameworkTrack(text, {}, "react");
  Kova::frameworkTrack("Event", {}, text);
  Kova::removeEventProperty(text);
}

TEST_F(FacadeTest, NullTextIsNoTextAndNoProperties) {
  KovaLogger::sharedInstance().setLogLevel(1);
  const KovaText nils[] = {nullptr, static_cast<const char*>(nullptr), std::string_view()};
  for (const KovaText nil : nils) {
    device.clearLog();
    callWithout(nil);
    EXPECT_THAT(device.log(), IsEmpty()) << "there is no tracker yet";
    EXPECT_THROW(Kova::initialize(nil, device.options()), NSException);
    EXPECT_THAT(device.log(), Contains("[KOVA DEBUG]: Kova envId cannot be empty"));
  }
  device.startAndSettle();
  device.clearLog();
  callWithout(nullptr);
  device.drain();
  const auto leftOut = [](const std::string& selector) {
    return "[KOVA DEBUG]: Called +[Kova " + selector + "] without a name. The call is left out.";
  };
  const std::string autocapture = leftOut("frameworkAutocaptureEvent:withSource:withSourceProperties:");
  const std::string track = leftOut("frameworkTrack:withProperties:withSource:withSourceProperties:");
  EXPECT_THAT(device.log(), ElementsAre(leftOut("track:"), leftOut("track:withProperties:"), autocapture,
                                        autocapture, track, track, leftOut("removeEventProperty:")));
  EXPECT_FALSE(KIBailer::sharedBailer().isBailed());

  device.clearLog();
  Kova::track("", nullptr);
  Kova::frameworkTrack(std::string("Event"), {}, String("react"));
  Kova::addUserProperties(nullptr);
  Kova::addEventProperties({});
  Kova::track("Null marker", Value());
  Kova::identify(static_cast<const char*>(nullptr));
  device.drain();
  EXPECT_THAT(
      device.log(),
      ElementsAre("[KOVA DEBUG]: Event/user properties were of type NSNull and were discarded",
                  HasSubstr("The `identify:(NSDictionary *)properties` method has been removed."),
                  HasSubstr("event \"\" with\n - properties: (null)"),
                  HasSubstr("event \"Event\" with\n - properties: (null)\n - source properties: (null)"),
                  HasSubstr("event \"Null marker\" with\n - properties: <null>")));
}

TEST_F(FacadeTest, NoOptionsAreDefaultOptions) {
  const KovaOptions fresh;
  EXPECT_EQ(fresh.hierarchyCaptureLimit(), 30);
  EXPECT_FALSE(fresh.captureBaseUrl() || fresh.eventVisualizerWebSocketBaseUrl() ||
               fresh.testOnlyUrlSession());
  EXPECT_FALSE(fresh.debug() || fresh.testOnlyVerbose() || fresh.disableTracking() ||
               fresh.disableTelemetryCapture() || fresh.disableViewControllerAutocapture() ||
               fresh.disableVendorIdCapture() || fresh.disableAdvertiserIdCapture() ||
               fresh.enableGestureAutocapture());

  device.setOnline(false);  // the default capture host must not be asked
  device.start(nullptr);
  device.drain();
  EXPECT_TRUE(Kova::isTrackingEnabled());
  EXPECT_THAT(Kova::userId().value(), MatchesRegex(kIds));
  EXPECT_THAT(Kova::sessionId().value(), MatchesRegex(kIds));
  EXPECT_EQ(Kova::identity(), std::nullopt);
  EXPECT_THAT(device.log(), IsEmpty());
}

TEST_F(FacadeTest, OptionsRaiseTheLogLevelAndStopDebugLowersIt) {
  struct {
    bool debug, verbose;
    int level;
    const char* line;
  } const cases[] = {{true, false, 1, "Kova: Started debug logging (library version 9.0.0)"},
                     {true, true, 2, "Kova: Started verbose logging (library version 9.0.0)"},
                     {false, true, 2, "Kova: Started verbose logging (library version 9.0.0)"}};
  for (const auto& [debug, verbose, level, line] : cases) {
    Kova::stopDebug();
    EXPECT_EQ(KovaLogger::sharedInstance().logLevel(), 0);
    device.clearLog();
    const auto options = device.options();
    options->setDebug(debug);
    options->setTestOnlyVerbose(verbose);
    device.start(options);
    EXPECT_EQ(KovaLogger::sharedInstance().logLevel(), level);
    EXPECT_THAT(device.log(), Contains(line));
    EXPECT_THAT(device.log(), Contains("[KOVA DEBUG]: Updating Kova app ID to 12345"));
  }
  device.start();
  EXPECT_EQ(KovaLogger::sharedInstance().logLevel(), 2)
      << "options that say nothing leave the level as it is";
}

TEST_F(FacadeTest, IsSilentBeforeInitialization) {
  KovaLogger::sharedInstance().setLogLevel(2);
  callEverything();
  EXPECT_EQ(KovaLogger::sharedInstance().logLevel(), 0) << "stopDebug needs no tracker";
  device.advance(60);
  device.settle();
  EXPECT_EQ(Kova::libVersion(), "9.0.0");
  EXPECT_EQ(Kova::userId(), std::nullopt);
  EXPECT_EQ(Kova::identity(), std::nullopt);
  EXPECT_EQ(Kova::sessionId(), std::nullopt);
  EXPECT_FALSE(Kova::isTrackingEnabled());
  EXPECT_THAT(device.log(), IsEmpty());
  EXPECT_EQ(device.service.requestCount(), 0u);
}

TEST_F(FacadeTest, DoesNothingAndAnswersNothingOnceBailed) {
  device.startAndSettle();
  Kova::identify("ada");
  device.advance(15);
  device.runUntilRequests(3);
  KovaLogger::sharedInstance().setLogLevel(2);
  const auto userId = device.stored("userId");
  device.clearLog();

  KIBailer::sharedBailer().bailWithSource("Test/bail");
  callEverything();
  device.start();
  device.advance(600);
  device.settle();
  EXPECT_EQ(Kova::userId(), "");
  EXPECT_EQ(Kova::identity(), std::nullopt);
  EXPECT_EQ(Kova::sessionId(), std::nullopt);
  EXPECT_FALSE(Kova::isTrackingEnabled());
  EXPECT_EQ(Kova::libVersion(), "9.0.0");
  EXPECT_THAT(device.log(), IsEmpty());
  EXPECT_EQ(KovaLogger::sharedInstance().logLevel(), 2);
  EXPECT_EQ(device.stored("userId"), userId);
  EXPECT_EQ(device.service.requestCount(), 3u);
  EXPECT_THROW(Kova::initialize("x"), NSException) << "validation comes first";
}

TEST_F(FacadeTest, GoesQuietAfterAnExceptionInACall) {
  device.startAndSettle();
  EXPECT_NO_THROW(Kova::track("Checkout", {{"cart", std::make_shared<FaultyObject>()}}));
  expectBailed("Kova/track:withProperties:");
  EXPECT_EQ(Kova::userId(), "");

  device.runUntilRequests(3);
  const HttpServer::Request report = device.service.lastRequest();
  EXPECT_EQ(report.path(), "/api/mobile_telemetry");
  EXPECT_THAT(report.body, HasSubstr(R"("custom_message":"CartException: the cart is on fire",)"
                                     R"("source":"Kova/track:withProperties:","event_type":"kova bailed")"));
  Kova::track("Later");
  device.application->enterBackground();
  device.advance(600);
  device.settle();
  EXPECT_EQ(device.service.requestCount(), 3u);
}

TEST_F(FacadeTest, GoesQuietAfterAnExceptionInACompletion) {
  // Every request fails, with an error that cannot be described.
  class FailingSession : public KOVAURLSessionProtocol {
    class Task : public NSURLSessionTask {
     public:
      explicit Task(Completion completion) : completion_(std::move(completion)) {}
      void resume() override {
        const Value failingUrl = std::make_shared<FaultyObject>();
        completion_(nullptr, nullptr,
                    NSError(std::string(NSURLErrorDomain), NSURLErrorTimedOut,
                            {{NSURLErrorFailingURLStringErrorKey, failingUrl}}));
      }
      void cancel() override {}
      State state() const override { return State::running; }

     private:
      Completion completion_;
    };
    std::shared_ptr<NSURLSessionTask> dataTask(const NSURL&, Completion completion) override {
      return std::make_shared<Task>(std::move(completion));
    }
    std::shared_ptr<NSURLSessionTask> dataTask(const NSURLRequest&, Completion) override { return nullptr; }
  };
  const auto options = device.options();
  options->setDebug(true);
  options->setTestOnlyUrlSession(std::make_shared<FailingSession>());
  device.start(options);
  EXPECT_NO_THROW(device.drain());
  expectBailed("KovaUploader/sendAllPixelData");
}

TEST_F(FacadeTest, ExportsTheConstantsWhoseNamesAndValuesDiffer) {
  EXPECT_EQ(KovaTouchEventPropertyTargetClass, "targetView");
  EXPECT_EQ(KovaTouchEventPropertyTargetVariable, "targetIvar");
  EXPECT_EQ(KovaPersistentPropertyKeyQueuedUrlStrings, "queuedPageviews");
  EXPECT_EQ(KovaPersistentPropertyKeyQueuedEvents, "parts");
  EXPECT_EQ(KovaPageviewPropertyAccessibilityIdentifier, "screenA11yId");
  EXPECT_EQ(KovaVersionNumber, 1.0);
  EXPECT_STREQ(reinterpret_cast<const char*>(KovaVersionString), "@(#)PROGRAM:Kova  PROJECT:Kova-1\n");
}

}  // namespace
