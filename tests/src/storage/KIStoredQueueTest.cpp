#include "src/storage/KIStoredQueue.h"

#include <gtest/gtest.h>

#include <functional>

#include "tests/support/SimulatedDevice.h"

using namespace platform;

namespace {

// What holds for each kind of item that is kept in a queue.
template <class Item>
class KIStoredQueueTest : public testing::Test {
 protected:
  using Queue = KIStoredQueue<Item>;

  static Item item(int number) {
    if constexpr (std::is_same_v<Item, String>) return std::to_string(number);
    if constexpr (std::is_same_v<Item, Dictionary>) return {{"n", number}};
  }
  static Value items(std::initializer_list<int> numbers) {
    std::vector<Value> all;
    for (const int number : numbers) all.emplace_back(item(number));
    return Array(std::move(all));
  }
  // What a process would find that is started after this one was killed.
  std::optional<Value> stored() {
    queue.persistUnsaved();
    return device.stored("queue");
  }

  SimulatedDevice device;
  KovaPersistentStore store{SimulatedDevice::kEnvironment};
  Queue queue{store, "queue", 3};
};

using ItemKinds = testing::Types<String, Dictionary>;
TYPED_TEST_SUITE(KIStoredQueueTest, ItemKinds);

TYPED_TEST(KIStoredQueueTest, WhatIsInFlightIsStoredAheadOfWhatWaitsAndTakesNoRoom) {
  auto& tested = this->queue;
  const auto item = &TestFixture::item;
  const struct {
    std::function<void()> step;
    std::size_t size;
    std::initializer_list<int> stored;
  } steps[] = {
      {[&] { tested.push(item(2)), tested.push(item(3)); }, 2, {2, 3}},
      {[&] { tested.pushFirst(item(1)); }, 3, {1, 2, 3}},
      {[&] { EXPECT_EQ(Value(tested.take()), Value(item(1))); }, 2, {1, 2, 3}},
      {[&] { EXPECT_EQ(Value(tested.take()), Value(item(2))); }, 1, {1, 2, 3}},
      {[&] { tested.settle(item(1)); }, 1, {2, 3}},
      {[&] { tested.putBack(item(2)); }, 2, {2, 3}},
      {[&] { EXPECT_EQ(Value(tested.take()), Value(item(2))); }, 1, {2, 3}},
      {[&] { tested.drop(); }, 0, {2}},
      // What comes back asks for no room.
      {[&] { tested.push(item(4)), tested.push(item(5)), tested.push(item(6)); }, 3, {2, 4, 5, 6}},
      {[&] { tested.putBack(item(2)); }, 4, {2, 4, 5, 6}},
      // Settled in the form that was sent, and of equal ones one.
      {[&] { tested.take(item(7)), tested.take(item(7)); }, 2, {7, 7, 5, 6}},
      {[&] { tested.settle(item(2)); }, 2, {7, 7, 5, 6}},
      {[&] { tested.settle(item(7)); }, 2, {7, 5, 6}},
  };
  tested.load({});
  for (const auto& each : steps) {
    each.step();
    EXPECT_EQ(tested.size(), each.size);
    EXPECT_EQ(tested.hasRoom(), each.size < 3);
    EXPECT_EQ(tested.next() == nullptr, each.size == 0);
    EXPECT_EQ(this->stored(), this->items(each.stored));
  }
}

TYPED_TEST(KIStoredQueueTest, StoresNothingBeforeItIsLoadedAndThenStandsBehindWithinTheLimit) {
  for (const int number : {7, 8, 9}) this->queue.push(this->item(number));
  this->queue.persist();
  EXPECT_FALSE(this->stored());
  this->queue.load({this->item(1), this->item(2)});
  EXPECT_EQ(this->device.stored("queue"), this->items({1, 2, 7}));

  typename TestFixture::Queue shorter(this->store, "queue", 1);
  shorter.push(this->item(7));
  shorter.load({this->item(1), this->item(2)});
  EXPECT_EQ(this->device.stored("queue"), this->items({1, 2})) << "what was stored is kept";
}

TYPED_TEST(KIStoredQueueTest, WritesWhatHasChangedAlone) {
  this->queue.load({this->item(1), this->item(2)});
  EXPECT_FALSE(this->stored());
  this->queue.push(this->item(3));
  EXPECT_EQ(this->stored(), this->items({1, 2, 3}));
  this->device.store("queue", "as it was");
  EXPECT_EQ(this->stored(), Value("as it was"));
  this->store.changeInOneStep([this] { this->queue.persist(); });
  this->device.store("queue", "as it was");
  EXPECT_EQ(this->stored(), this->items({1, 2, 3})) << "nobody has said that the step was done";
  this->queue.drop();
  this->queue.noteSaved();
  EXPECT_EQ(this->stored(), this->items({1, 2, 3}));
}

}  // namespace
