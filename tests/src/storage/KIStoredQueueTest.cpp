#include "src/storage/KIStoredQueue.h"

#include <gtest/gtest.h>

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
  void push(std::initializer_list<int> numbers) {
    for (const int number : numbers) queue.push(item(number));
  }
  // What a process would find that is started after this one was killed.
  std::optional<Value> stored() {
    queue.persistUnsaved();
    return device.stored("queue");
  }
  int taken() {
    const Value next = queue.take();
    return std::stoi(next.isString() ? next.string().str() : next.dictionary().find("n")->description());
  }

  SimulatedDevice device;
  KovaPersistentStore store{SimulatedDevice::kEnvironment};
  Queue queue{store, "queue", 3};
};

using ItemKinds = testing::Types<String, Dictionary>;
TYPED_TEST_SUITE(KIStoredQueueTest, ItemKinds);

TYPED_TEST(KIStoredQueueTest, WhatIsInFlightIsStillStoredAheadOfWhatWaits) {
  this->queue.load({});
  this->push({2, 3});
  this->queue.pushFirst(this->item(1));
  EXPECT_EQ(this->taken(), 1);
  EXPECT_EQ(this->taken(), 2);
  EXPECT_EQ(this->queue.size(), 1u);
  EXPECT_EQ(this->stored(), this->items({1, 2, 3}));
  this->queue.settle(this->item(1));
  EXPECT_EQ(this->stored(), this->items({2, 3}));
  this->queue.putBack(this->item(2));
  EXPECT_EQ(this->stored(), this->items({2, 3}));
  EXPECT_EQ(this->taken(), 2);
  this->queue.drop();
  EXPECT_EQ(this->queue.next(), nullptr);
  EXPECT_EQ(this->stored(), this->items({2}));
}

TYPED_TEST(KIStoredQueueTest, IsSettledInTheFormThatWasSentAndEqualOnesOneByOne) {
  this->queue.load({});
  this->push({1, 2});
  for (int i = 0; i < 2; ++i) this->queue.take(this->item(7));
  EXPECT_EQ(this->stored(), this->items({7, 7}));
  this->queue.settle(this->item(1));
  EXPECT_EQ(this->stored(), this->items({7, 7}));
  this->queue.settle(this->item(7));
  EXPECT_EQ(this->stored(), this->items({7}));
}

TYPED_TEST(KIStoredQueueTest, WhatIsInFlightTakesNoRoomAndWhatComesBackAsksForNone) {
  this->queue.load({});
  this->push({1, 2});
  EXPECT_TRUE(this->queue.hasRoom());
  this->push({3});
  EXPECT_FALSE(this->queue.hasRoom());
  this->queue.take();
  EXPECT_TRUE(this->queue.hasRoom());
  this->push({4});
  this->queue.putBack(this->item(1));
  EXPECT_EQ(this->queue.size(), 4u);
}

TYPED_TEST(KIStoredQueueTest, StoresNothingBeforeItIsLoadedAndThenStandsBehindWithinTheLimit) {
  this->push({7, 8, 9});
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
  this->push({3});
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
