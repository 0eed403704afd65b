// The class that the host calls: what it refuses, what it answers when it can do nothing, and that no
// exception but one ever leaves it.

#include <Kova/KovaC.h>

#include "platform/foundation/NSException.h"
#include "platform/net/NSURLError.h"
#include "src/core/KIBailer.h"
#include "src/core/KovaTimer.h"
#include "src/core/NSOperationQueue+SafeOperation.h"
#include "src/identity/lifecycle/KILifecycle.h"
#include "src/identity/lifecycle/KILifecycleEvent.h"
#include "tests/src/core/TrackerFixture.h"
#include "tests/support/HeldURLSession.h"

using namespace platform;
using namespace testing;

namespace {

using platform::Value;
using FacadeTest = TrackerTest;

constexpr const char* kIds = "[0-9]{16}";

// Every method but initialize and the getters.
void callEverything() {
  const NSURL link = NSURL::create("kova-12345://1/launch-ev").value();
  const UIOpenURLContext contexts[] = {UIOpenURLContext(link)};
  const Dictionary properties{{"a", 1}};
  Kova::instrumentAutocaptureWithOptions(KovaOptions());
  Kova::handleOpenURL(link);
  Kova::handleOpenURLContexts(contexts);
  Kova::startEVPairing();
  Kova::stopEVPairing();
  Kova::setTrackingEnabled(false);
  Kova::setTrackingEnabled(true);
  Kova::changeInterval(1);
  Kova::track("Event");
  Kova::track("Event", properties);
  Kova::frameworkAutocaptureEvent("Event", "react", properties);
  Kova::frameworkTrack("Event", properties, "react", properties);
  Kova::addEventProperties(properties);
  Kova::removeEventProperty("a");
  Kova::clearEventProperties();
  Kova::addUserProperties(properties);
  Kova::identify("ada");
  Kova::identify(properties);
  Kova::resetIdentity();
  Kova::stopDebug();
  Kova::flush(0);
  Kova::shutdown(0);
}

TEST_F(FacadeTest, InvalidEnvironmentIdFailsAnAssertion) {
  const std::string empty = "Kova envId cannot be empty";
  const std::string noNumber = "Kova envId must be a numerical value";
  const std::string zero = "Kova envId must not start with a zero.";
  const std::pair<KovaText, std::string> cases[] = {
      {"", empty},      {nullptr, empty},           {"12a4", noNumber}, {"-1", noNumber},
      {"0a", noNumber}, {"\u0661\u0662", noNumber}, {"0123", zero},     {"0", zero}};
  for (const auto& given : cases) {
    SCOPED_TRACE(given.first.view());
    const std::string& message = given.second;
    const auto initialize = [&] { Kova::initialize(given.first, device.options()); };
    const auto isFailure = AllOf(Property(&NSException::name, "NSInternalInconsistencyException"),
                                 Property(&NSException::reason, message));
    EXPECT_THAT(linesOf([&] { EXPECT_THAT(initialize, Throws<NSException>(isFailure)); }),
                ElementsAre("[KOVA DEBUG]: " + message,
                            "*** Assertion failure in +[Kova initialize:withOptions:], Kova:59"));
  }
  EXPECT_EQ(Kova::userId(), std::nullopt);
  Kova::initialize("1234", device.options());
  EXPECT_THAT(Kova::userId().value(), MatchesRegex(kIds));
}

TEST_F(FacadeTest, NullTextIsNoTextAndNoProperties) {
  // Every call that takes text, without one.
  const auto callWithout = [](KovaText text) {
    Kova::track(text);
    Kova::track(text, {{"a", 1}});
    Kova::frameworkAutocaptureEvent(text, "react");
    Kova::frameworkAutocaptureEvent("Event", text);
    Kova::frameworkTrack(text, {}, "react");
    Kova::frameworkTrack("Event", {}, text);
    Kova::removeEventProperty(text);
  };
  EXPECT_THAT(linesOf([&] { callWithout(nullptr); }), IsEmpty()) << "there is no tracker yet";
  device.startAndSettle();
  const auto leftOut = [](const char* selector) {
    return formatted("[KOVA DEBUG]: Called +[Kova %@] without a name. The call is left out.", selector);
  };
  const std::string autocapture = leftOut("frameworkAutocaptureEvent:withSource:withSourceProperties:");
  const std::string track = leftOut("frameworkTrack:withProperties:withSource:withSourceProperties:");
  for (const KovaText nil :
       {KovaText(nullptr), KovaText(static_cast<const char*>(nullptr)), KovaText(std::string_view())}) {
    EXPECT_THAT(linesOf([&] { callWithout(nil); }),
                ElementsAre(leftOut("track:"), leftOut("track:withProperties:"), autocapture, autocapture,
                            track, track, leftOut("removeEventProperty:")));
  }
  EXPECT_THAT(
      linesOf([] {
        Kova::track("", nullptr);
        Kova::frameworkTrack(std::string("Event"), {}, String("react"));
        Kova::addUserProperties(nullptr);
        Kova::addEventProperties({});
        Kova::track("Null marker", Value());
        Kova::identify(static_cast<const char*>(nullptr));
      }),
      ElementsAre("[KOVA DEBUG]: Event/user properties were of type NSNull and were discarded",
                  HasSubstr("The `identify:(NSDictionary *)properties` method has been removed."),
                  HasSubstr("event \"\" with\n - properties: (null)"),
                  HasSubstr("event \"Event\" with\n - properties: (null)\n - source properties: (null)"),
                  HasSubstr("event \"Null marker\" with\n - properties: <null>")));
}

TEST_F(FacadeTest, OptionsRaiseTheLogLevelAndStopDebugLowersIt) {
  for (const auto& [debug, verbose] : {std::pair(true, false), {true, true}, {false, true}}) {
    Kova::stopDebug();
    EXPECT_EQ(KovaLogger::sharedInstance().logLevel(), 0);
    device.clearLog();
    const auto options = device.options();
    options->setDebug(debug);
    options->setTestOnlyVerbose(verbose);
    device.start(options);
    EXPECT_EQ(KovaLogger::sharedInstance().logLevel(), verbose ? 2 : 1);
    EXPECT_THAT(device.log(), Contains(verbose ? "Kova: Started verbose logging (library version 9.0.0)"
                                               : "Kova: Started debug logging (library version 9.0.0)"));
    EXPECT_THAT(device.log(), Contains("[KOVA DEBUG]: Updating Kova app ID to 12345"));
  }
  device.start();
  EXPECT_EQ(KovaLogger::sharedInstance().logLevel(), 2) << "options that say nothing leave it as it is";
}

TEST_F(FacadeTest, IsSilentBeforeInitializationAndStartsWithDefaultOptionsWithoutAny) {
  EXPECT_THAT(linesOf(&callEverything), IsEmpty());
  EXPECT_EQ(KovaLogger::sharedInstance().logLevel(), 0) << "stopDebug needs no tracker";
  device.advance(60);
  device.settle();
  EXPECT_EQ(device.service.requestCount(), 0u);
  const auto ids = [] { return std::vector{Kova::userId(), Kova::sessionId(), Kova::identity()}; };
  EXPECT_THAT(ids(), Each(Eq(std::nullopt)));
  EXPECT_FALSE(Kova::isTrackingEnabled());

  device.setOnline(false);  // the default capture host must not be asked
  device.start(nullptr);
  device.drain();
  EXPECT_TRUE(Kova::isTrackingEnabled());
  EXPECT_EQ(kova_track("Checkout", KOVA_WHOLE, nullptr), KOVA_OK);
  EXPECT_THAT(ids(), ElementsAre(Optional(MatchesRegex(kIds)), Optional(MatchesRegex(kIds)), std::nullopt));
  EXPECT_THAT(device.log(), IsEmpty());
  const KovaOptions fresh;
  EXPECT_EQ(fresh.hierarchyCaptureLimit(), 30);
  EXPECT_FALSE(fresh.disableViewControllerAutocapture() || fresh.disableVendorIdCapture() ||
               fresh.disableAdvertiserIdCapture() || fresh.enableGestureAutocapture());
}

const NSException kFire("CartException", "the cart is on fire");
void fail() { throw kFire; }

// What makes the library's own code throw when it is described.
class FaultyObject : public NSObject {
  NS_OBJECT(FaultyObject, NSObject)

 public:
  std::string description() const override { throw kFire; }
};

struct WayIn {
  const char* source;
  void (*enter)(SimulatedDevice& device);
  friend void PrintTo(const WayIn& way, std::ostream* out) { *out << way.source; }
};
constexpr kova::Place kCheckout{"Cart", "checkout:"};
const WayIn kWaysIn[] = {
    {"Kova/track:withProperties:",
     [](SimulatedDevice&) {
       Kova::track("Checkout", {{"cart", std::make_shared<FaultyObject>()}});
     }},
    {"KovaUploader/sendAllPixelData",
     [](SimulatedDevice& device) {
       const auto session = std::make_shared<HeldURLSession>();
       const auto options = device.options();
       options->setTestOnlyUrlSession(session);
       device.start(options);
       Kova::track("Checkout");
       device.drain();
       for (const auto& request : session->takeOpen())
         request.fail({std::string(NSURLErrorDomain),
                       NSURLErrorTimedOut,
                       {{NSURLErrorFailingURLStringErrorKey, std::make_shared<FaultyObject>()}}});
     }},
    {"Cart/checkout:",
     [](SimulatedDevice&) { KOVA_addSafeOperationWithBlock(*KOVA_serialStateQueue(), &fail, kCheckout); }},
    {"Cart/checkout:", [](SimulatedDevice&) { KOVA_performSafelyOnMainQueueWithBlock(&fail, kCheckout); }},
    {"KovaTimer/scheduleSafeOperationWithBlock:afterTimeInterval:inQueue:",
     [](SimulatedDevice& device) {
       KovaTimer::scheduleSafeOperationWithBlock(&fail, 1, KOVA_serialStateQueue());
       device.advance(1);
     }},
    {"KILifecycle/lifecycleEventIfAppVersionChangeWithOptions:",
     [](SimulatedDevice&) {
       KovaOptions upgraded;
       upgraded.setTestOnlyAppVersion("2.0");
       const auto failToStore = [](const KILifecycleEvent&) -> bool { throw kFire; };
       EXPECT_EQ(KILifecycle::lifecycleEventIfAppVersionChangeWithOptions(upgraded, {failToStore, {}}),
                 nullptr);
     }},
};

class WayInTest : public TrackerTest, public testing::WithParamInterface<WayIn> {};
INSTANTIATE_TEST_SUITE_P(Facade, WayInTest, testing::ValuesIn(kWaysIn));

TEST_P(WayInTest, AnExceptionIsReportedAndEndsTheLibraryButNotTheHost) {
  const std::string source = GetParam().source;
  device.store("identity", "ada");
  device.startAndSettle();
  const std::string stored = storedText("userId");
  KovaLogger::sharedInstance().setLogLevel(kKovaLogLevelDebug);  // so that errors are described
  EXPECT_NO_THROW(GetParam().enter(device));
  EXPECT_NO_THROW(device.drain());
  EXPECT_TRUE(KIBailer::sharedBailer().isBailed());
  EXPECT_EQ(KIBailer::sharedBailer().bailedSource(), source);
  EXPECT_THAT(device.logLinesWith("The Kova library"),
              ElementsAre(StartsWith("Kova: The Kova library caught an exception at " + source +
                                     ". (name: CartException, reason: the cart is on fire, userInfo: "
                                     "(null), stacktrace: ("),
                          "Kova: The Kova library has been disabled because of an uncaught exception."));
  device.runUntilRequests(3);
  EXPECT_EQ(device.service.lastRequest().path(), "/api/mobile_telemetry");
  EXPECT_THAT(device.service.lastRequest().body,
              HasSubstr(R"("custom_message":"CartException: the cart is on fire","source":")" + source +
                        R"(","event_type":"kova bailed")"));

  EXPECT_THAT(linesOf([&] {
                callEverything();
                device.start();
                device.application->enterBackground();
                device.advance(600);
              }),
              IsEmpty());
  device.settle();
  EXPECT_EQ(KovaLogger::sharedInstance().logLevel(), 1);
  EXPECT_EQ(Kova::userId(), "");
  EXPECT_EQ(Kova::identity(), std::nullopt);
  EXPECT_EQ(Kova::sessionId(), std::nullopt);
  EXPECT_FALSE(Kova::isTrackingEnabled());
  EXPECT_EQ(kova_track("Checkout", KOVA_WHOLE, nullptr), KOVA_FAILED);
  EXPECT_EQ(Kova::libVersion(), "9.0.0");
  EXPECT_EQ(storedText("userId"), stored);
  EXPECT_EQ(device.service.requestCount(), 3u);
  EXPECT_THROW(Kova::initialize("x"), NSException) << "validation comes first";
}

}  // namespace
