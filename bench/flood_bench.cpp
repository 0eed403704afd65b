// 10,000 taps a second for a minute, on the real run loop and the real queues, each dispatched as a finger's:
// every one is captured, memory stays flat and the queues within their limits, although nothing can be sent.
// Fails when one of that does not hold.

#include "bench/BenchHost.h"
#include "bench/BenchQueues.h"
#include "bench/BenchScreen.h"
#include "platform/dispatch/MainRunLoop.h"
#include "platform/dispatch/ThreadScheduler.h"
#include "src/core/KIBailer.h"

namespace {

using namespace platform;

constexpr int kTapsATurn = 100;
constexpr double kTurn = 0.01;  // seconds
constexpr int kTurns = 6000;    // a minute
constexpr int kTaps = kTurns * kTapsATurn;
constexpr int kSettledTurn = 1000;  // 10 s: the queues are full, and the first touches have left the cache
constexpr double kMostGrowth = 1.1;
constexpr std::size_t kMostUrls = 200;
constexpr std::size_t kMostMessages = 300;
constexpr std::size_t kMostBatches = 200;

// Is asked once for every touch that is captured.
class Counter : public KovaAutocaptureEnrichmentDelegate {
 public:
  std::optional<Dictionary> autocaptureTouchEventPropertiesForEventType(std::string_view, UIView&, UITouch*,
                                                                        UIControl*) override {
    ++touches;
    return std::nullopt;
  }
  int touches = 0;
};

bool expect(bool isSo, const char* what) {
  if (!isSo) std::printf("FAILED: %s\n", what);
  return isSo;
}

struct Flood {
  double seconds = 0;
  double busy = 0;     // seconds in which the taps were dispatched
  double settled = 0;  // resident memory, once the queues are full
  double end = 0;      // resident memory
};

Flood tapForAMinute() {
  MainRunLoop& loop = ThreadScheduler::installed().ownRunLoop();
  UITouchInput input;
  Flood flood;
  const auto start = bench::Clock::now();
  for (int turn = 1; turn <= kTurns; ++turn) {
    const auto turnStart = bench::Clock::now();
    for (int tap = 0; tap < kTapsATurn; ++tap) {
      input.touchBegan(0, {5, 5});
      input.touchEnded(0);
    }
    flood.busy += bench::secondsSince(turnStart);
    loop.runFor(std::max(0.0, turn * kTurn - bench::secondsSince(start)));
    if (turn == kSettledTurn) flood.settled = bench::residentMemory();
  }
  flood.seconds = bench::secondsSince(start);
  flood.end = bench::residentMemory();
  return flood;
}

void print(const Flood& flood, const bench::Queues::Counts& counts) {
  bench::printLine("taps a second, for a minute", kTaps / flood.seconds, "taps/s", "10000");
  bench::printLine("  a tap with its dispatch, on average", flood.busy * 1e6 / kTaps, "us", "-");
  bench::printLine("resident memory after 10 s", flood.settled / 1024, "MB", "-");
  bench::printLine("resident memory at the end", flood.end / 1024, "MB", "-");
  bench::printLine("  as a multiple of that after 10 s", flood.end / flood.settled, "x", "<= 1.1");
  bench::printLine("URLs in the queue", static_cast<double>(counts.urls), "", "<= 200");
  bench::printLine("messages that are in no batch", static_cast<double>(counts.messages), "", "<= 300");
  bench::printLine("batches in the queue, which is full", static_cast<double>(counts.batches), "", "200");
}

}  // namespace

int main() {
  const bench::Host host(false);
  const auto options = bench::Host::options();
  const auto counter = std::make_shared<Counter>();
  options->setDisableViewControllerAutocapture(false);
  options->setAutocaptureEnrichmentDelegate(counter);
  Kova::initialize(bench::kEnvironment, options);
  const bench::Screen screen;
  screen.show();
  const bench::Queues queues;

  const Flood flood = tapForAMinute();
  const bench::Queues::Counts counts = queues.counts();
  print(flood, counts);

  bool isWell = expect(counter->touches == kTaps, "every touch is captured");
  isWell &= expect(flood.end <= flood.settled * kMostGrowth, "memory is flat");
  isWell &=
      expect(counts.urls <= kMostUrls && counts.messages <= kMostMessages, "the queues keep their limits");
  isWell &= expect(counts.batches == kMostBatches, "the queue of batches is full, and no fuller");
  isWell &= expect(!KIBailer::sharedBailer().isBailed(), "the library has not bailed");
  return isWell ? 0 : 1;
}
