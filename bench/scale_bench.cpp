// What a change costs in long queues: in work of the mutation queue, each until it is stored. What waits for
// an hour without a network should cost the last one what it cost the first.

#include "bench/BenchHost.h"
#include "src/core/Threads.h"
#include "src/storage/KovaQueueManager.h"

namespace {

constexpr std::size_t kSample = 20;
constexpr int kEventProperties = 1000;
constexpr KovaQueueManager::Limits kLimits{
    .queuedUrls = 200, .queuedEvents = 300, .queuedMessageBatches = 200};

template <class Step>
std::vector<double> timesOf(std::size_t count, const Step& step) {
  std::vector<double> times;
  for (std::size_t i = 0; i < count; ++i) {
    const auto start = bench::Clock::now();
    step(i);
    times.push_back(bench::secondsSince(start) * 1e6);
  }
  return times;
}

void printEnds(const char* ofFirst, const char* ofLast, const char* asMultiple,
               const std::vector<double>& times) {
  const double first = bench::median({times.begin(), times.begin() + kSample});
  const double last = bench::median({times.end() - kSample, times.end()});
  bench::printLine(ofFirst, first, "us", "-");
  bench::printLine(ofLast, last, "us", "-");
  bench::printLine(asMultiple, last / first, "x", "<= 2");
}

void measureRequests(KovaQueueManager& queues) {
  kova::mutationQueue.isHere();
  const std::string url = "h?a=12345&u=2527760171337656" + std::string(500, 'x') + "&number=";
  printEnds(
      "a pixel URL queued, the first 20", "a pixel URL queued, the last 20 of 200", "  as a multiple",
      timesOf(kLimits.queuedUrls, [&](std::size_t i) { queues.enqueueUrlString(url + std::to_string(i)); }));
  const auto base = *platform::NSURL::create("http://127.0.0.1:9/");
  std::vector<double> times = timesOf(kLimits.queuedUrls, [&](std::size_t) {
    if (const auto taken = queues.dequeueUrlRelativeToUrl(base)) queues.cleanUpSentUrl(*taken);
  });
  std::reverse(times.begin(), times.end());
  printEnds("a pixel URL sent, the last 20", "a pixel URL sent, the first 20 of 200", "  as a multiple",
            times);
}

void measureBatches(KovaQueueManager& queues) {
  kova::mutationQueue.isHere();
  printEnds(
      "a batch of one event stored, the first 20", "a batch of one event stored, the last 20 of 200",
      "  as a multiple", timesOf(kLimits.queuedMessageBatches, [&](std::size_t i) {
        queues.enqueueMessage(
            {{"id", std::to_string(i)}, {"pageviewInfo", {{"id", "1"}}}, {"sessionInfo", {{"id", "2"}}}});
        queues.moveEnqueuedMessagesToBatchAndPersist();
      }));
}

void measureEventProperties() {
  Kova::initialize(bench::kEnvironment, bench::Host::options());
  const auto settle = [] { KOVA_serialStateQueue()->waitUntilAllOperationsAreFinished(); };
  settle();
  printEnds("an event property added, the first 20", "an event property added, the last 20 of 1,000",
            "  as a multiple", timesOf(kEventProperties, [&](std::size_t i) {
              Kova::addEventProperties({{"property " + std::to_string(i), "a value of some length"}});
              settle();
            }));
}

}  // namespace

int main() {
  const bench::Host host(false);
  {
    const auto store = std::make_shared<KovaPersistentStore>("54321");
    KovaQueueManager queues(store, kLimits);
    measureRequests(queues);
    measureBatches(queues);
    if (queues.queuedMessageBatchesCount() != kLimits.queuedMessageBatches) return 1;
  }
  measureEventProperties();
}
