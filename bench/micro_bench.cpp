// What the single steps of an event's road cost. Compare them with each other, not with another machine's
// figures.

#include <benchmark/benchmark.h>

#include <cstring>

#include "platform/dispatch/Scheduler.h"
#include "platform/foundation/NSJSONSerialization.h"
#include "platform/foundation/Value.h"
#include "src/autocapture/KovaUtil.h"
#include "src/core/KovaInputTransformer.h"
#include "src/core/KovaLogger.h"

using platform::Dictionary;
using platform::Value;

namespace {

Value fiveProperties() {
  return {{"plan", "pro"}, {"currency", "EUR"}, {"coupon", "WINTER-2026"}, {"trial", true}, {"gift", false}};
}

Value message() {
  const Dictionary event{
      {"customEvent",
       Dictionary{{"type", "Checkout finished"},
                  {"customProperties",
                   KovaInputTransformer::transmittableDictionaryForPropertyDictionary(fiveProperties())}}},
      {"appVisibilityState", 2}};
  return {{"id", "0123456789012345"},
          {"envId", "12345"},
          {"user", Dictionary{{"id", "0123456789012345"}}},
          {"timestamp", "1767225600000"},
          {"deviceInfo", Dictionary{{"carrier", ""}, {"phoneModel", "iPhone15,2"}, {"platform", "iOS 17.0"}}},
          {"event", event}};
}

void copyBytes(benchmark::State& state) {
  const std::string text = platform::NSJSONSerialization::dataWithJSONObject(message()).value();
  std::string target(text.size(), ' ');
  for (auto _ : state) {
    std::memcpy(target.data(), text.data(), text.size());
    benchmark::DoNotOptimize(target.data());
  }
}
BENCHMARK(copyBytes);

void writeMessageAsJSON(benchmark::State& state) {
  const Value object = message();
  for (auto _ : state) benchmark::DoNotOptimize(platform::NSJSONSerialization::dataWithJSONObject(object));
}
BENCHMARK(writeMessageAsJSON);

void readMessageFromJSON(benchmark::State& state) {
  const std::string text = platform::NSJSONSerialization::dataWithJSONObject(message()).value();
  for (auto _ : state) benchmark::DoNotOptimize(platform::NSJSONSerialization::JSONObjectWithData(text));
}
BENCHMARK(readMessageFromJSON);

void makeFiveProperties(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(fiveProperties());
}
BENCHMARK(makeFiveProperties);

void typeFiveProperties(benchmark::State& state) {
  const Value properties = fiveProperties();
  for (auto _ : state) {
    benchmark::DoNotOptimize(KovaInputTransformer::transmittableDictionaryForPropertyDictionary(properties));
  }
}
BENCHMARK(typeFiveProperties);

void emptyHandOver(benchmark::State& state) {
  const auto queue =
      platform::Scheduler::current().makeSerialQueue("baseline", platform::QualityOfService::Background);
  for (auto _ : state) queue->async([] {});
  queue->waitUntilIdle();
}
BENCHMARK(emptyHandOver)->Iterations(200000);

void logBelowTheLevel(benchmark::State& state) {
  const Value properties = fiveProperties();
  for (auto _ : state) KovaLogDebug("Logged %@", properties);
}
BENCHMARK(logBelowTheLevel);

void randomId(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(KovaUtil::randomId());
}
BENCHMARK(randomId);

void urlEncode(benchmark::State& state) {
  const Value text("https://example.com/a path?with=query&and=more");
  for (auto _ : state) benchmark::DoNotOptimize(KovaUtil::urlEncode(text));
}
BENCHMARK(urlEncode);

}  // namespace
