// What Kova::track costs the caller's thread, against an empty hand-over to the same kind of queue, and what
// it costs that the call outlives the process: a write, and before it a look at the limit of file sizes,
// beyond which a write would end the host by a signal.

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <thread>

#include "bench/BenchHost.h"
#include "platform/dispatch/Scheduler.h"

namespace {

constexpr bench::Bursts kBursts{.runs = 7, .burstsARun = 16, .callsABurst = 500};
constexpr std::size_t kBytesOfACall = 340;  // with its record

bench::Figures writesOfACall(const std::string& path) {
  const int file = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  const std::string bytes(kBytesOfACall, 'x');
  off_t end = 0;
  const auto figures = bench::measure(
      kBursts, [&] { end += pwrite(file, bytes.data(), bytes.size(), end); }, [] {});
  close(file);
  return figures;
}

void lookAtTheLimit() {
  rlimit limit;
  getrlimit(RLIMIT_FSIZE, &limit);
}

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
  const double write = writesOfACall(host.root() + "/writes").median;
  const double limit = bench::measure(kBursts, &lookAtTheLimit, [] {}).median;
  bench::printLine("  of it: a write of as many bytes", write, "us", "-");
  bench::printLine("  of it: the limit of file sizes", limit, "us", "-");
  bench::printLine("Kova::track with 5 properties, 99th percentile", track.percentile99, "us", "<= 3");
  settleLibrary();
  const std::vector<double> paced = pacedCalls();
  bench::printLine("one call a millisecond, median", bench::median(paced), "us", "<= 4");
  bench::printLine("one call a millisecond, 99th percentile", bench::percentile(paced, 0.99), "us", "<= 30");
  bench::printLine("one call a millisecond, longest", bench::percentile(paced, 1), "us", "<= 200");
  bench::printLine("  median as a multiple of the empty hand-over", track.median / handOver.median, "x", "-");
}
