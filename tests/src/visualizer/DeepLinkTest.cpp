// Deep links that ask for pairing, and the check of the app's URL scheme.

#include "src/visualizer/KovaOpenURLParser.h"
#include "tests/src/core/TrackerFixture.h"

using namespace platform;
using namespace testing;

namespace {

using platform::Value;

class DeepLinkTest : public TrackerTest {
 protected:
  static NSURL url(const std::string& text) { return NSURL::create(text).value(); }
  // What opening the link logs.
  std::vector<std::string> opening(const std::string& link) {
    device.clearLog();
    Kova::handleOpenURL(url(link), {{"ignored", true}});
    device.drain();
    return device.log();
  }
};

constexpr const char* kEnabling = "Kova: Enabling Event Visualizer. Connecting to Kova server.";

TEST_F(DeepLinkTest, ParsesWellFormedLinksOfItsOwnEnvironment) {
  const KovaOpenURLParser parser("12345");
  EXPECT_EQ(parser.expectedURLScheme(), "kova-12345");
  struct {
    const char* link;
    std::uint64_t version;
    const char* instruction;
    const char* parameters;
  } const good[] = {
      {"kova-12345://1/launch-ev", 1, "launch-ev", "{}"},
      {"KOVA-12345://1/LAUNCH-EV", 1, "launch-ev", "{}"},
      {"kova-12345://01/launch-ev/", 1, "launch-ev", "{}"},
      {"kova-12345://20/Other?a=1&b=x%20y&a=2", 20, "other", R"({"a":"2","b":"x y"})"},
      {"kova-12345://1/launch-ev?a=1&b=&a", 1, "launch-ev", R"({"b":""})"},
  };
  for (const auto& [link, version, instruction, parameters] : good) {
    Dictionary read;
    const auto parsed = parser.parseUrl(url(link), &read);
    ASSERT_TRUE(parsed) << link;
    EXPECT_EQ(parsed->schemaVersion, version) << link;
    EXPECT_EQ(parsed->instruction, instruction) << link;
    EXPECT_EQ(json(read), parameters) << link;
  }
  for (const char* bad :
       {"kova-1234://1/launch-ev", "kova-123456://1/launch-ev", "https://1/launch-ev", "kova-12345:launch-ev",
        "kova-12345:///launch-ev", "kova-12345://0/launch-ev", "kova-12345://1a/launch-ev",
        "kova-12345://-1/launch-ev", "kova-12345://1.0/launch-ev", "kova-12345://1", "kova-12345://1/",
        "kova-12345://1/launch-ev/extra"}) {
    EXPECT_FALSE(parser.parseUrl(url(bad))) << bad;
  }
}

TEST_F(DeepLinkTest, TheLaunchInstructionStartsPairing) {
  device.startAndSettle();
  EXPECT_THAT(opening("kova-12345://1/launch-ev"), ElementsAre(kEnabling));
  EXPECT_THAT(opening("kova-12345://1/other"), IsEmpty());
  EXPECT_THAT(opening("https://example.com/launch-ev"), IsEmpty());
  EXPECT_THAT(
      opening("kova-12345://2/launch-ev"),
      ElementsAre("Kova: Invalid schema version detected (2). Kova Event Visualizer will not be enabled."));

  device.clearLog();
  Kova::handleOpenURLContexts({});
  EXPECT_THAT(device.log(), IsEmpty());
  const UIOpenURLContext contexts[] = {UIOpenURLContext(url("kova-12345://3/a")),
                                       UIOpenURLContext(url("kova-12345://1/launch-ev"))};
  Kova::handleOpenURLContexts(contexts);
  EXPECT_THAT(
      device.log(),
      ElementsAre("Kova: Invalid schema version detected (3). Kova Event Visualizer will not be enabled.",
                  kEnabling));
}

TEST_F(DeepLinkTest, System12CannotPair) {
  device.setSystemVersion("12.4");
  device.startAndSettle();
  Kova::stopEVPairing();
  EXPECT_THAT(device.log(), IsEmpty());
  EXPECT_THAT(opening("kova-12345://1/launch-ev"),
              ElementsAre("Kova: Event Visualizer device pairing only available on iOS 13.0 or greater"));
}

TEST_F(DeepLinkTest, TheDebugLogTellsWhetherTheAppDeclaresTheScheme) {
  const std::string found =
      "[KOVA DEBUG]: The URL scheme – kova-12345:// – for the Event Visualizer's QR code trigger is set up "
      "correctly.";
  const std::string missing =
      "[KOVA DEBUG]: The expected custom URL scheme – kova-12345:// – was not found; the QR code trigger for "
      "the Kova "
      "Event Visualizer won't work unless this scheme is present. (https://";
  const auto declaring = [](const Value& urlTypes) { return Dictionary{{"CFBundleURLTypes", urlTypes}}; };
  const auto schemes = [](Array names) { return Dictionary{{"CFBundleURLSchemes", std::move(names)}}; };
  struct {
    Dictionary facts;
    bool isFound;
  } const cases[] = {
      {Dictionary(), false},
      {declaring("kova-12345"), false},
      {declaring(Array{schemes({"kova-1234"}), 3, schemes({7, "other", "kova-12345"})}), true},
      {declaring(Array{schemes({"Kova-12345"})}), false},  // stricter than the parser, on purpose
  };
  for (const auto& [facts, isFound] : cases) {
    device.setBundleFacts(facts);
    const auto options = device.options();
    options->setDebug(true);
    device.clearLog();
    device.start(options);
    const auto lines = device.logLinesWith("URL scheme –");
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].substr(0, (isFound ? found : missing).size()), isFound ? found : missing);
    EXPECT_EQ(lines[0].back(), isFound ? '.' : ')');
  }
  Kova::stopDebug();
  device.clearLog();
  device.start();
  EXPECT_THAT(device.log(), IsEmpty()) << "not looked for without the debug log";
}

}  // namespace
