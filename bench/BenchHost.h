#pragma once

#include <Kova/Kova.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/foundation/NSURL.h"
#include "platform/linux/LinuxApplication.h"
#include "platform/net/NetworkReachability.h"
#include "src/core/NSOperationQueue+SafeOperation.h"

// What the measurements share: a host in a directory of its own, and how figures are taken and printed.
namespace bench {

inline constexpr const char* kEnvironment = "12345";

class Host {
 public:
  explicit Host(bool online)
      : root_((std::filesystem::temp_directory_path() / "kova-bench-XXXXXX").string()) {
    if (!mkdtemp(root_.data())) std::abort();
    startIn(root_, online);
  }
  ~Host() {
    KOVA_serialStateQueue()
        ->waitUntilAllOperationsAreFinished();  // what was called last may still be on its way
    std::filesystem::remove_all(root_);
  }
  const std::string& root() const { return root_; }

  static void startIn(const std::string& root, bool online) {
    platform::startLinuxApplication(
        {.applicationName = "Bench", .applicationIdentifier = "bench", .rootDirectory = root},
        {{"CFBundleShortVersionString", "1.0"}, {"CFBundleVersion", "1"}});
    platform::NetworkReachability::installFlagSource([online](const platform::NetworkReachability::Target&) {
      return std::optional<platform::NetworkReachabilityFlags>(
          online ? platform::kNetworkReachabilityFlagsReachable : 0);
    });
  }

  static std::shared_ptr<KovaOptions> options(const std::string& captureUrl = "http://127.0.0.1:9/") {
    auto options = std::make_shared<KovaOptions>();
    options->setCaptureBaseUrl(platform::NSURL::create(captureUrl));
    options->setDisableViewControllerAutocapture(true);
    return options;
  }

 private:
  std::string root_;
};

using Clock = std::chrono::steady_clock;

inline double secondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

// The value below which the given share of the values lies.
inline double percentile(std::vector<double> values, double share) {
  std::sort(values.begin(), values.end());
  const auto index = static_cast<std::size_t>(share * static_cast<double>(values.size() - 1));
  return values[index];
}
inline double median(std::vector<double> values) { return percentile(std::move(values), 0.5); }

// An event as the targets are stated for: three strings and two booleans.
inline void trackOne() {
  Kova::track(
      "Checkout finished",
      {{"plan", "pro"}, {"currency", "EUR"}, {"coupon", "WINTER-2026"}, {"trial", true}, {"gift", false}});
}

// An app's calls come in bursts; between two, the queue goes to sleep, so that a burst's first call also
// wakes it.
struct Bursts {
  int runs;
  int burstsARun;
  int callsABurst;
};
struct Figures {
  double median;
  double percentile99;
};

// Microseconds of each single call.
inline Figures measure(const Bursts& bursts, const std::function<void()>& call,
                       const std::function<void()>& settle) {
  std::vector<double> medians;
  std::vector<double> tails;
  for (int run = 0; run < bursts.runs; ++run) {
    std::vector<double> times;
    times.reserve(static_cast<std::size_t>(bursts.burstsARun * bursts.callsABurst));
    for (int burst = 0; burst < bursts.burstsARun; ++burst) {
      for (int i = 0; i < bursts.callsABurst; ++i) {
        const auto start = Clock::now();
        call();
        times.push_back(secondsSince(start) * 1e6);
      }
      settle();
    }
    medians.push_back(percentile(times, 0.5));
    tails.push_back(percentile(times, 0.99));
  }
  return {median(medians), median(tails)};
}

// Kilobytes of this process: those in memory, or of another kind that the kernel tells.
inline double residentMemory(const std::string& kind = "Rss:") {
  std::ifstream status("/proc/self/smaps_rollup");
  std::string word;
  double kilobytes = 0;
  while (status >> word) {
    if (word == kind) {
      status >> kilobytes;
      break;
    }
  }
  return kilobytes;
}

inline void printLine(const char* what, double value, const char* unit, const char* target) {
  std::printf("%-62s %12.2f %-12s target %s\n", what, value, unit, target);
}

}  // namespace bench
