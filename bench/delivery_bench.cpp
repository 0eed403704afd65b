// How many events a second leave a backlog on disk for a server on the loopback, against posting the same
// number of bytes from memory.

#include <atomic>
#include <condition_variable>
#include <mutex>

#include "bench/BenchHost.h"
#include "platform/net/NSURLSession.h"
#include "platform/uikit/UIApplication.h"
#include "src/core/NSOperationQueue+SafeOperation.h"
#include "tests/support/HttpServer.h"

namespace {

constexpr int kRuns = 5;
constexpr int kBacklog = 20000;
constexpr std::size_t kBatches = (kBacklog + 299) / 300;

std::atomic<bool> isOnline = false;

void installSwitchableNetwork() {
  platform::NetworkReachability::installFlagSource([](const platform::NetworkReachability::Target&) {
    return std::optional<platform::NetworkReachabilityFlags>(
        isOnline ? platform::kNetworkReachabilityFlagsReachable : 0);
  });
}

// Counts the batches that the server has taken.
class Arrivals {
 public:
  explicit Arrivals(HttpServer& server) {
    server.keepRequests(false);
    const auto count = [this](const HttpServer::Request& request) {
      const std::lock_guard lock(mutex_);
      ++batches_;
      bytes_ += request.body.size();
      changed_.notify_all();
      return HttpServer::Reply::text("");
    };
    server.handle("/api/integrations/ios/track", count);
    server.handle("/baseline", count);
  }
  void waitFor(std::size_t batches) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return batches_ >= batches; });
  }
  std::size_t take() {
    const std::lock_guard lock(mutex_);
    batches_ = 0;
    return std::exchange(bytes_, 0);
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::size_t batches_ = 0;
  std::size_t bytes_ = 0;
};

void fillBacklog() {
  isOnline = false;
  for (int i = 0; i < kBacklog; ++i) bench::trackOne();
  platform::UIApplication::sharedApplication()->enterBackground();
  KOVA_serialStateQueue()->waitUntilAllOperationsAreFinished();
}

double deliver(Arrivals& arrivals) {
  isOnline = true;
  const auto start = bench::Clock::now();
  Kova::changeInterval(15);  // sends at once
  arrivals.waitFor(kBatches);
  return bench::secondsSince(start);
}

double postPlainly(HttpServer& server, Arrivals& arrivals, std::size_t bytes) {
  const auto body = std::make_shared<const std::string>(bytes / kBatches, 'x');
  platform::NSURLRequest request(platform::NSURL::create(server.url("/baseline")).value());
  request.setHTTPMethod("POST");
  request.setHTTPBody(body);
  std::function<void(std::size_t)> post = [&](std::size_t left) {
    platform::NSURLSession::sharedSession()
        .dataTask(request,
                  [&post, left](auto, auto, auto) {
                    if (left > 1) post(left - 1);
                  })
        ->resume();
  };
  const auto start = bench::Clock::now();
  post(kBatches);
  arrivals.waitFor(kBatches);
  return bench::secondsSince(start);
}

}  // namespace

int main() {
  HttpServer server;
  Arrivals arrivals(server);
  const bench::Host host(false);
  installSwitchableNetwork();
  Kova::initialize(bench::kEnvironment, bench::Host::options(server.url("/")));
  Kova::track("warm up");

  std::vector<double> rates;
  std::vector<double> ratios;
  for (int run = 0; run < kRuns; ++run) {
    fillBacklog();
    arrivals.take();
    const double seconds = deliver(arrivals);
    KOVA_serialStateQueue()->waitUntilAllOperationsAreFinished();
    const std::size_t bytes = arrivals.take();
    rates.push_back(kBacklog / seconds);
    ratios.push_back(seconds / postPlainly(server, arrivals, bytes));
    arrivals.take();
  }
  bench::printLine("events delivered from a backlog of 20,000", bench::median(rates), "events/s",
                   ">= 100000");
  bench::printLine("  time as a multiple of posting the same bytes from memory", bench::median(ratios), "x",
                   "-");
}
