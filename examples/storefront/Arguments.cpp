#include "examples/storefront/Arguments.h"

#include <algorithm>
#include <stdexcept>

#include "examples/support/CommandLine.h"

namespace {

constexpr const char* kUsage =
    "Usage: storefront [options]\n"
    "\n"
    "A small shop that Kova captures. A scripted user goes shopping in it, and what Kova records is printed step\n"
    "by step; with --window it is you who goes shopping.\n"
    "\n"
    "  --window             opens a window: mouse and keyboard, Ctrl-S shakes the device\n"
    "  --tablet             two scenes of the shop side by side\n"
    "  --dark               the dark appearance\n"
    "  --unmasked           pictures for the dashboard show what is ignored and redacted, too\n"
    "  --capture-url URL    where to send what is recorded\n"
    "  --visualizer-url URL where to pair with a dashboard\n"
    "  --open-url URL       the link that the app is opened with; with kova-ID://1/launch-ev the scripted user\n"
    "                       waits for somebody to pair with her device in the dashboard, and then goes shopping\n"
    "  --pause SECONDS      how long the scripted user rests after each step (0)\n"
    "  --environment ID     the environment to record for, a number (1234567890)\n"
    "  --data DIRECTORY     where to keep the app's files\n"
    "  --help               prints this\n";

constexpr double kLongestPause = 60;  // seconds

std::string environmentId(const std::string& text) {
  const bool isNumber = !text.empty() && text.front() != '0' &&
                        std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
  if (!isNumber)
    throw std::invalid_argument("'" + text + "' is no environment: a number without leading zeros is");
  return text;
}

}  // namespace

Arguments Arguments::parse(int argc, char** argv) {
  Arguments arguments;
  CommandLine("storefront", kUsage)
      .flag("--window", arguments.window)
      .flag("--tablet", arguments.tablet)
      .flag("--dark", arguments.dark)
      .flag("--unmasked", arguments.unmasked)
      .option("--capture-url", [&](const auto& value) { arguments.captureUrl = httpURL(value); })
      .option("--visualizer-url", [&](const auto& value) { arguments.visualizerUrl = httpURL(value); })
      .option("--open-url", [&](const auto& value) { arguments.openedUrl = anyURL(value); })
      .option("--pause", [&](const auto& value) { arguments.pause = seconds(value, kLongestPause); })
      .option("--environment", [&](const auto& value) { arguments.environment = environmentId(value); })
      .option("--data", [&](const auto& value) { arguments.dataDirectory = value; })
      .parse(argc, argv);
  return arguments;
}
