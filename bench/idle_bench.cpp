// Wake-ups of an idle app in the foreground: every thread's voluntary context switches over half a minute
// with the library started, events uploaded and nothing to do. The upload timer, every 15 s, is what is laid
// down.

#include <fstream>

#include "bench/BenchHost.h"
#include "platform/dispatch/MainRunLoop.h"
#include "platform/dispatch/ThreadScheduler.h"

namespace {

constexpr double kSettleTime = 2;  // seconds
constexpr double kIdleTime = 31;   // two upload passes

long voluntarySwitches() {
  long switches = 0;
  for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
    std::ifstream status(thread.path() / "status");
    std::string word;
    while (status >> word) {
      long count = 0;
      if (word == "voluntary_ctxt_switches:" && status >> count) switches += count;
    }
  }
  return switches;
}

}  // namespace

int main() {
  const bench::Host host(false);
  Kova::initialize(bench::kEnvironment, bench::Host::options());
  Kova::track("Opened");
  auto& loop = platform::ThreadScheduler::installed().ownRunLoop();
  loop.runFor(kSettleTime);
  const long before = voluntarySwitches();
  loop.runFor(kIdleTime);
  bench::printLine("wake-ups of an idle app in 31 s (2 upload passes, 1 of our own)",
                   static_cast<double>(voluntarySwitches() - before), "wake-ups", "the timers'");
}
