// How many events a second go from the call to a batch file on disk, against a plain write of the same bytes.

#include <fstream>

#include "bench/BenchHost.h"
#include "platform/foundation/NSFileManager.h"
#include "platform/uikit/UIApplication.h"
#include "src/core/NSOperationQueue+SafeOperation.h"

namespace {

constexpr int kRuns = 5;
constexpr int kEventsARun = 9000;  // 30 batches; all runs stay below the limit of 200

std::string batchDirectory() { return platform::directories().caches + "/kova-" + bench::kEnvironment; }

std::uintmax_t bytesOnDisk() {
  std::uintmax_t bytes = 0;
  for (const auto& entry : std::filesystem::directory_iterator(batchDirectory())) bytes += entry.file_size();
  return bytes;
}

double recordEvents() {
  const auto start = bench::Clock::now();
  for (int i = 0; i < kEventsARun; ++i) bench::trackOne();
  platform::UIApplication::sharedApplication()->enterBackground();
  KOVA_serialStateQueue()->waitUntilAllOperationsAreFinished();
  const double seconds = bench::secondsSince(start);
  platform::UIApplication::sharedApplication()->enterForeground();
  return seconds;
}

double writePlainly(const std::string& directory, std::uintmax_t bytes) {
  const std::string block(bytes / 30, 'x');
  const auto start = bench::Clock::now();
  for (int i = 0; i < 30; ++i) {
    std::ofstream(directory + "/plain-" + std::to_string(i), std::ios::binary)
        .write(block.data(), static_cast<std::streamsize>(block.size()));
  }
  return bench::secondsSince(start);
}

}  // namespace

int main() {
  const bench::Host host(false);
  Kova::initialize(bench::kEnvironment, bench::Host::options());
  Kova::track("warm up");
  KOVA_serialStateQueue()->waitUntilAllOperationsAreFinished();

  std::vector<double> rates;
  std::vector<double> ratios;
  std::uintmax_t before = bytesOnDisk();
  for (int run = 0; run < kRuns; ++run) {
    const double seconds = recordEvents();
    const std::uintmax_t after = bytesOnDisk();
    rates.push_back(kEventsARun / seconds);
    ratios.push_back(seconds / writePlainly(host.root(), after - before));
    before = after;
  }
  const std::uintmax_t eventBytes = before / (kRuns * kEventsARun);
  bench::printLine("events built, batched and on disk", bench::median(rates), "events/s", ">= 400000");
  bench::printLine("  bytes an event on disk", static_cast<double>(eventBytes), "bytes", "-");
  bench::printLine("  time as a multiple of writing the same bytes plainly", bench::median(ratios), "x", "-");
}
