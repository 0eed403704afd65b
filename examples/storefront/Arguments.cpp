#include "examples/storefront/Arguments.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstdlib>

namespace {

constexpr const char* kUsage =
    "Usage: storefront [options]\n"
    "\n"
    "A small shop that Kova captures. A scripted user goes shopping in it, and what Kova records is printed step\n"
    "by step; with --window it is you who goes shopping.\n"
    "\n"
    "  --window             opens a window: mouse and keyboard, Ctrl-S shakes the device\n"
    "  --tablet             two scenes of the shop side by side\n"
    "  --capture-url URL    where to send what is recorded\n"
    "  --visualizer-url URL where to pair with a dashboard\n"
    "  --open-url URL       the link that the app is opened with; with kova-ID://1/launch-ev the scripted user\n"
    "                       waits for somebody to pair with her device in the dashboard, and then goes shopping\n"
    "  --pause SECONDS      how long the scripted user rests after each step (0)\n"
    "  --environment ID     the environment to record for, a number (1234567890)\n"
    "  --data DIRECTORY     where to keep the app's files\n"
    "  --help               prints this\n";

[[noreturn]] void failUsage(const std::string& problem) {
  std::fprintf(stderr, "storefront: %s; try --help\n", problem.c_str());
  std::exit(2);
}

std::string environmentFrom(const std::string& text) {
  const bool isNumber = !text.empty() && text.front() != '0' &&
                        std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
  if (!isNumber) failUsage("'" + text + "' is no environment: a number without leading zeros is");
  return text;
}

platform::NSURL urlFrom(const std::string& text) {
  const bool isHTTP = text.starts_with("http://") || text.starts_with("https://");
  const auto url = isHTTP ? platform::NSURL::create(text) : std::nullopt;
  if (!url) failUsage("'" + text + "' is no http or https URL");
  return *url;
}

platform::NSURL linkFrom(const std::string& text) {
  const auto url = platform::NSURL::create(text);
  if (!url || !url->scheme()) failUsage("'" + text + "' is no URL");
  return *url;
}

double secondsFrom(const std::string& text) {
  double seconds = 0;
  const char* const last = text.data() + text.size();
  const auto [end, error] = std::from_chars(text.data(), last, seconds);
  if (error != std::errc() || end != last || !(seconds >= 0 && seconds <= 60)) {
    failUsage("'" + text + "' is no number of seconds from 0 to 60");
  }
  return seconds;
}

}  // namespace

Arguments Arguments::parse(int argc, char** argv) {
  Arguments arguments;
  for (int i = 1; i < argc; ++i) {
    const std::string option = argv[i];
    const auto value = [&]() -> std::string {
      if (i + 1 == argc) failUsage(option + " needs a value");
      return argv[++i];
    };
    if (option == "--help") {
      std::fputs(kUsage, stdout);
      std::exit(0);
    } else if (option == "--window") {
      arguments.window = true;
    } else if (option == "--tablet") {
      arguments.tablet = true;
    } else if (option == "--capture-url") {
      arguments.captureUrl = urlFrom(value());
    } else if (option == "--visualizer-url") {
      arguments.visualizerUrl = urlFrom(value());
    } else if (option == "--open-url") {
      arguments.openedUrl = linkFrom(value());
    } else if (option == "--pause") {
      arguments.pause = secondsFrom(value());
    } else if (option == "--environment") {
      arguments.environment = environmentFrom(value());
    } else if (option == "--data") {
      arguments.dataDirectory = value();
    } else {
      failUsage("what does '" + option + "' mean?");
    }
  }
  return arguments;
}
