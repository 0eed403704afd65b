// What Kova::track costs the caller's thread, against an empty hand-over to the same kind of queue.

#include <thread>

#include "bench/BenchHost.h"
#include "platform/dispatch/Scheduler.h"

namespace {

constexpr bench::Bursts kBursts{.runs = 7, .burstsARun = 16, .callsABurst = 500};

// Microseconds of each of the calls that an app makes now and then: one a millisecond.
std::vector<double> pacedCalls() {
  std::vector<double> times;
  auto next = bench::Clock::now();
  for (int i = 0; i < 3000; ++i) {
    next += std::chrono::milliseconds(1);
    std::this_thread::sleep_until(next);
    const auto start = bench::Clock::now();
    bench::trackOne();
    times.push_back(bench::secondsSince(start) * 1e6);
  }
  return times;
}

}  // namespace

int main() {
  const bench::Host host(false);
  Kova::initialize(bench::kEnvironment, bench::Host::options());
  const auto queue =
      platform::Scheduler::current().makeSerialQueue("baseline", platform::QualityOfService::Background);

  const auto settleLibrary = [] { KOVA_serialStateQueue()->waitUntilAllOperationsAreFinished(); };

  const bench::Figures clock = bench::measure(
      kBursts, [] {}, [] {});
  const bench::Figures handOver = bench::measure(
      kBursts, [&queue] { queue->async([] {}); }, [&queue] { queue->waitUntilIdle(); });
  const bench::Figures track = bench::measure(kBursts, bench::trackOne, settleLibrary);
  bench::printLine("reading the clock, median (part of each figure below)", clock.median, "us", "-");
  bench::printLine("empty hand-over, median", handOver.median, "us", "-");
  bench::printLine("Kova::track with 5 properties, median", track.median, "us", "<= 0.8");
  bench::printLine("Kova::track with 5 properties, 99th percentile", track.percentile99, "us", "<= 3");
  settleLibrary();
  const std::vector<double> paced = pacedCalls();
  bench::printLine("one call a millisecond, median", bench::median(paced), "us", "<= 4");
  bench::printLine("one call a millisecond, 99th percentile", bench::percentile(paced, 0.99), "us", "<= 30");
  bench::printLine("one call a millisecond, longest", bench::percentile(paced, 1), "us", "<= 200");
  bench::printLine("  median as a multiple of the empty hand-over", track.median / handOver.median, "x", "-");
}
