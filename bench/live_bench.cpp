// A paired app with photographs on its screen that is tapped 20 times a second for a minute, before a
// dashboard in a process of its own: each touch arrives with its ancestry, in order, and memory stays flat.
// Fails when one of that does not hold. Pictures are left out when the machine does not keep up: as figures.

#include <Kova/KovaAutocaptureEnrichmentDelegate.h>
#include <sys/wait.h>
#include <unistd.h>

#include <iostream>

#include "bench/BenchCatalog.h"
#include "bench/BenchHost.h"
#include "platform/dispatch/MainRunLoop.h"
#include "platform/dispatch/ThreadScheduler.h"
#include "platform/uikit/UITouchInput.h"
#include "tests/support/WebSocketServer.h"

namespace {

using namespace platform;

constexpr double kTurn = 0.05;     // seconds
constexpr int kTurns = 1200;       // a minute
constexpr int kSettledTurn = 200;  // 10 s
constexpr double kMostGrowth = 1.1;
constexpr double kLongestPairing = 30;   // seconds
constexpr double kUntilAllHaveLeft = 1;  // seconds

// Numbers the touches.
class Numbers : public KovaAutocaptureEnrichmentDelegate {
 public:
  std::optional<Dictionary> autocaptureTouchEventPropertiesForEventType(std::string_view, UIView&, UITouch*,
                                                                        UIControl*) override {
    return Dictionary{{"targetText", "number " + std::to_string(++last)}};
  }
  int last = 0;
};

// --- The dashboard's process

struct Counts {
  int inOrder = 0;  // with their ancestry
  int others = 0;
  int withPictures = 0;
  std::int64_t bytes = 0;
};

bool isNumbered(const std::string& message, int number) {
  return message.find("\"number " + std::to_string(number) + "\"") != std::string::npos &&
         message.find("\"view_ancestry\"") != std::string::npos;
}

// Pairs with whoever connects, and counts the touches that come.
void pairAndCount(WebSocketServer::Peer& peer, Counts& counts) {
  peer.accept();
  peer.sendText(R"(0{"sid":"a","pingInterval":25000,"pingTimeout":20000})");
  peer.receive();
  peer.sendText("40/ios,");
  peer.receive();  // the device announces itself
  peer.sendText(R"(42/ios,["web_requested_pair",{"pairCode":"1"}])");
  peer.receive();  // it accepts
  while (const auto frame = peer.receive()) {
    if (frame->opcode != WebSocketServer::Opcode::text) continue;
    if (frame->payload.find("device_left") != std::string::npos) return;
    isNumbered(frame->payload, counts.inOrder + 1) ? ++counts.inOrder : ++counts.others;
    if (frame->payload.find("\"full_image_data\"") != std::string::npos) ++counts.withPictures;
    counts.bytes += static_cast<std::int64_t>(frame->payload.size());
  }
}

// Writes its port to the pipe, and what it has counted when the device has left. Does not return.
[[noreturn]] void serve(int pipe) {
  Counts counts;
  {
    std::atomic<bool> done = false;
    WebSocketServer server([&](WebSocketServer::Peer& peer) {
      pairAndCount(peer, counts);
      done = true;
      done.notify_one();
    });
    const int port = server.port();
    if (write(pipe, &port, sizeof port) != sizeof port) _exit(1);
    done.wait(false);
  }
  _exit(write(pipe, &counts, sizeof counts) == sizeof counts ? 0 : 1);
}

bool isPairedInTime(MainRunLoop& loop) {
  const auto asked = bench::Clock::now();
  while (!UIApplication::sharedApplication()->isIdleTimerDisabled()) {
    if (bench::secondsSince(asked) > kLongestPairing) return false;
    loop.runFor(kTurn);
  }
  return true;
}

struct Minute {
  double seconds = 0;
  double settled = 0;        // resident memory after 10 s
  double end = 0;            // resident memory
  std::vector<double> taps;  // milliseconds each
};

Minute tapForAMinute(MainRunLoop& loop) {
  UITouchInput input;
  Minute minute;
  const auto start = bench::Clock::now();
  for (int turn = 1; turn <= kTurns; ++turn) {
    const auto tap = bench::Clock::now();
    input.touchBegan(0, {60, 200});
    input.touchEnded(0);
    minute.taps.push_back(bench::secondsSince(tap) * 1e3);
    loop.runFor(std::max(0.0, turn * kTurn - bench::secondsSince(start)));
    if (turn == kSettledTurn) minute.settled = bench::residentMemory();
  }
  minute.seconds = bench::secondsSince(start);
  loop.runFor(kUntilAllHaveLeft);
  KOVA_serialStateQueue()->waitUntilAllOperationsAreFinished();
  minute.end = bench::residentMemory();
  return minute;
}

void print(const Minute& minute, const Counts& counts) {
  bench::printLine("taps a second, for a minute", kTurns / minute.seconds, "taps/s", "20");
  bench::printLine("  main thread for a tap with both pictures, median", bench::median(minute.taps), "ms",
                   "<= 8");
  bench::printLine("  99th percentile", bench::percentile(minute.taps, 0.99), "ms", "-");
  bench::printLine("touches that arrived in order with their ancestry", counts.inOrder, "", "1200");
  bench::printLine("others", counts.others, "", "0");
  bench::printLine("touches with their pictures", counts.withPictures, "", "1200");
  bench::printLine("  size of a touch", static_cast<double>(counts.bytes) / 1024 / kTurns, "KB", "-");
  bench::printLine("resident memory after 10 s", minute.settled / 1024, "MB", "-");
  bench::printLine("resident memory at the end", minute.end / 1024, "MB", "-");
  bench::printLine("  as a multiple of that after 10 s", minute.end / minute.settled, "x", "<= 1.1");
}

}  // namespace

int main() {
  int ends[2];
  if (pipe(ends) != 0) return 1;
  const pid_t dashboard = fork();
  if (dashboard == 0) serve(ends[1]);
  int port = 0;
  if (read(ends[0], &port, sizeof port) != sizeof port) return 1;

  const bench::Host host(false);
  const auto options = bench::Host::options();
  const auto numbers = std::make_shared<Numbers>();
  options->setEventVisualizerWebSocketBaseUrl(
      NSURL::create("http://127.0.0.1:" + std::to_string(port) + "/"));
  options->setTestOnlySkipEVPairingDialog(true);
  options->setAutocaptureEnrichmentDelegate(numbers);
  Kova::initialize(bench::kEnvironment, options);
  const bench::Catalog catalog(bench::Pictures::Photographs);
  MainRunLoop& loop = ThreadScheduler::installed().ownRunLoop();
  Kova::startEVPairing();
  if (!isPairedInTime(loop)) {
    std::cerr << "The app was not paired within " << kLongestPairing << " s.\n";
    return 1;
  }
  const Minute minute = tapForAMinute(loop);
  Kova::stopEVPairing();

  Counts counts;
  const bool isCounted = read(ends[0], &counts, sizeof counts) == sizeof counts;
  int status = 1;
  waitpid(dashboard, &status, 0);
  print(minute, counts);
  const bool isWell = isCounted && status == 0 && counts.inOrder == kTurns && counts.others == 0 &&
                      numbers->last == kTurns && minute.end <= minute.settled * kMostGrowth;
  if (!isWell) std::printf("FAILED\n");
  return isWell ? 0 : 1;
}
