// What Kova::track costs the caller's thread, against an empty hand-over to the same kind of queue.

#include "bench/BenchHost.h"
#include "platform/dispatch/Scheduler.h"

namespace {

// An app's events come in bursts; between two, the queue goes to sleep, so that a burst's first call also
// wakes it.
constexpr int kRuns = 7;
constexpr int kBurstsARun = 16;
constexpr int kCallsABurst = 500;

struct Figures {
  double median;
  double percentile99;
};

// Microseconds of each single call.
Figures measure(const std::function<void()>& call, const std::function<void()>& settle) {
  std::vector<double> medians;
  std::vector<double> tails;
  for (int run = 0; run < kRuns; ++run) {
    std::vector<double> times;
    times.reserve(kBurstsARun * kCallsABurst);
    for (int burst = 0; burst < kBurstsARun; ++burst) {
      for (int i = 0; i < kCallsABurst; ++i) {
        const auto start = bench::Clock::now();
        call();
        times.push_back(bench::secondsSince(start) * 1e6);
      }
      settle();
    }
    medians.push_back(bench::percentile(times, 0.5));
    tails.push_back(bench::percentile(times, 0.99));
  }
  return {bench::median(medians), bench::median(tails)};
}

}  // namespace

int main() {
  const bench::Host host(false);
  Kova::initialize(bench::kEnvironment, bench::Host::options());
  const auto queue =
      platform::Scheduler::current().makeSerialQueue("baseline", platform::QualityOfService::Background);

  const auto settleLibrary = [] { KOVA_serialStateQueue()->waitUntilAllOperationsAreFinished(); };

  const Figures clock = measure([] {}, [] {});
  const Figures handOver = measure([&queue] { queue->async([] {}); }, [&queue] { queue->waitUntilIdle(); });
  const Figures track = measure(bench::trackOne, settleLibrary);
  bench::printLine("reading the clock, median (part of each figure below)", clock.median, "us", "-");
  bench::printLine("empty hand-over, median", handOver.median, "us", "-");
  bench::printLine("Kova::track with 5 properties, median", track.median, "us", "<= 1");
  bench::printLine("Kova::track with 5 properties, 99th percentile", track.percentile99, "us", "<= 5");
  bench::printLine("  median as a multiple of the empty hand-over", track.median / handOver.median, "x", "-");
}
