#include <gmock/gmock.h>
#include <malloc.h>

#include <filesystem>

#include "tests/support/SimulatedDevice.h"

namespace {

std::ptrdiff_t entriesOf(const char* directory) {
  return std::distance(std::filesystem::directory_iterator(directory), {});
}

// What a process holds.
struct Holdings {
  static Holdings of(const SimulatedDevice& device) {
    return {entriesOf("/proc/self/task"), entriesOf("/proc/self/fd"),
            static_cast<std::ptrdiff_t>(device.scheduler.pendingTimerCount()),
            static_cast<std::ptrdiff_t>(mallinfo2().uordblks)};
  }
  std::ptrdiff_t threads, descriptors, timers, bytes;
};

TEST(RepeatedInitializationTest, LeavesNothingBehind) {
  SimulatedDevice device;
  device.service.keepRequests(false);
  std::size_t count = 0;
  const auto initializeTimes = [&](int times) {
    for (int i = 0; i < times; ++i) {
      device.start();
      Kova::track("Checkout", {{"number", i}, {"plan", "a text that does not fit into a value in place"}});
      Kova::addEventProperties({{"number", i}});
      Kova::identify(i % 2 == 0 ? "ada" : "grace");
      if (i % 10 == 9) device.runUntilRequests(++count);
    }
    Kova::track("Last");
    device.advance(15);
    device.runUntilRequests(++count);
    device.clearLog();
  };

  initializeTimes(50);
  const Holdings before = Holdings::of(device);
  initializeTimes(1000);
  const Holdings after = Holdings::of(device);
  // Connections, with a descriptor at each end and a thread of the server, come and go.
  EXPECT_LE(after.threads, before.threads + 10);
  EXPECT_LE(after.descriptors, before.descriptors + 20);
  EXPECT_EQ(after.timers, before.timers);
  EXPECT_LE(after.bytes, before.bytes + 200'000) << "200 bytes an initialization";
}

}  // namespace
