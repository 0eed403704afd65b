#include "src/storage/KovaQueueManager.h"

#include <array>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <regex>

#include "platform/foundation/internal/UserDefaultsDatabase.h"
#include "tests/src/storage/QueueFixture.h"
#include "tests/support/ResourceLimit.h"

using namespace platform;
using namespace testing;

namespace {

using platform::Value;

const char* const kUnserialisable = "[KOVA DEBUG]: Failed to serialize request body data to JSON";

class KovaQueueManagerTest : public QueueTest {
 protected:
  // A stored batch that holds its message itself, or names the file that does.
  static Value inlineBatch(int number) { return {{"messages", Array{{{"n", number}}}}}; }
  static Value named(const char* file) { return {{"messagesIdentifier", file}}; }
  void storeBatches(const Array& batches) {
    device.store("queuedMessageBatches", batches);
    reopen();
  }
  void enqueue(std::initializer_list<MutableDictionary> all) {
    for (const MutableDictionary& message : all) queues->enqueueMessage(message);
  }

  std::string storedNumbers() const {
    std::string numbers =
        std::regex_replace(stored("parts"), std::regex(R"(,"(pageview|session)Info":\{[^}]*\})"), "");
    return std::regex_replace(numbers, std::regex(R"(\{"n":(\d+)\})"), "$1");
  }
  // The next URL as the store would hold it.
  std::string dequeued() {
    const auto url = queues->dequeueUrlRelativeToUrl(baseUrl);
    return url ? url->absoluteString() : "(none)";
  }
  std::string dequeuedBody() {
    const auto next = queues->dequeueMessageJSONPayloadWithMessageBatch();
    return next ? next->payload : "(none)";
  }

  const NSURL baseUrl = NSURL::create("https://host.example").value();
};

TEST_F(KovaQueueManagerTest, TakesUrlsOldestFirstAbsoluteAndStampedWithTheirFirstSendTime) {
  enqueueUrls({"h?a=1", "api/identify_v3?a=2"});
  device.advance(1);
  const NSURL url = queues->dequeueUrlRelativeToUrl(baseUrl).value();
  EXPECT_EQ(url.absoluteString(), "https://host.example/h?a=1&st=1767225601000");
  reopen();  // the process ended before the answer
  device.advance(60);
  EXPECT_EQ(queues->dequeueUrlRelativeToUrl(baseUrl), url);
  queues->requeueFailedUrl(url);
  reopen();
  EXPECT_EQ(queues->dequeueUrlRelativeToUrl(baseUrl), url);
  queues->cleanUpSentUrl(url);
  EXPECT_EQ(dequeued(), "https://host.example/api/identify_v3?a=2&st=1767225661000");
  EXPECT_EQ(dequeued(), "(none)");
  EXPECT_EQ(stored("queuedPageviews"), R"(["https://host.example/api/identify_v3?a=2&st=1767225661000"])");
}

TEST_F(KovaQueueManagerTest, DropsUrlsBeyondTheLimitAndPutsTheFirstPageviewInFront) {
  enqueueUrls({"h?n=1", "h?n=2"});
  EXPECT_TRUE(queues->canEnqueueUrlString());
  for (const char* url : {"h?first", "h?late"}) queues->enqueueFirstPageviewUrlString(url, messages);
  EXPECT_FALSE(queues->canEnqueueUrlString());
  enqueueUrls({"h?n=3"});
  EXPECT_EQ(stored("queuedPageviews"), R"(["h?first","h?n=1","h?n=2"])");
}

TEST_F(KovaQueueManagerTest, FindsInTheJournalOnceWhatTheStoreHasNotTakenOver) {
  viewPages();
  const auto message = [](const char* id) { return MutableDictionary{{"id", id}}; };
  const auto keepAndMove = [&](const char* id) {
    queues->enqueueMessage(message(id));
    queues->moveEnqueuedMessagesToBatchAndPersist();
  };
  const auto ids = [this] {
    std::string text;
    for (const char* id : {"1", "2", "3"}) text += stored("parts").find(id) == std::string::npos ? "-" : id;
    return text;
  };
  // Stored without its pageview, and given one since: it comes back as it was last.
  keepAndMove("1");
  queues->enqueueFirstPageviewUrlString("h", messages);
  reopen();
  queues->moveEnqueuedMessagesToBatchAndPersist();
  EXPECT_EQ(waiting(), (Counts{1, 0, 1}));
  // Kept behind a step that was part of another, and behind one that came to the disk later.
  queues->enqueueMessage(message("1"));
  opened->changeInOneStep([this] { queues->persistQueuedEvents(); });
  queues->enqueueMessage(message("2"));
  reopen();
  queues->persistQueuedEvents();
  EXPECT_EQ(ids(), "12-");
  EXPECT_EQ(queues->queuedEventsCount(), 2u);
  reopen();
  EXPECT_EQ(queues->queuedEventsCount(), 2u);
}

// The process ends behind the step of the store, before the file of the calls is told.
TEST_F(KovaQueueManagerTest, CarriesACallOutOnce) {
  const std::string path = directories().applicationSupport + "/kova-12345.calls";
  for (const char* url : {"x?first", "x?second"}) {
    const KICallLog::Number call = queues->calls().note(url);
    const auto untold = std::filesystem::file_size(path);
    queues->carryOut({&call, 1}, [&] { queues->enqueueUrlString(url); });
    queues = nullptr;
    std::filesystem::resize_file(path, untold);
    reopen();
    EXPECT_THAT(queues->takeLeftCalls().calls, IsEmpty()) << url;
  }
  const KICallLog::Number call = queues->calls().note("x?third");
  const auto fail = [this] {
    queues->enqueueUrlString("x?third");
    throw std::runtime_error("in the middle");
  };
  EXPECT_THROW(queues->carryOut({&call, 1}, fail), std::runtime_error);
  EXPECT_EQ(stored("queuedPageviews"), R"(["x?first","x?second"])");
  reopen();
  EXPECT_THAT(queues->takeLeftCalls().calls, SizeIs(1));
}

TEST_F(KovaQueueManagerTest, CarriesNoCallOutAgainWhoseEndItsFileDoesNotTake) {
  queues->calls().note(std::string(400'000, 'x'));
  std::array<KICallLog::Number, 4> calls;
  for (auto& call : calls) call = queues->calls().note("");
  const auto carryOut = [&](std::size_t i) {
    queues->carryOut({&calls[i], 1}, [this] { queues->enqueueUrlString("x"); });
  };
  {
    const auto full = ResourceLimit::fileSize(400'000);
    carryOut(0);
    carryOut(1);
    queues->enqueueMessage(enriched(1), {&calls[2], 1});
    EXPECT_TRUE(queues->moveEnqueuedMessagesToBatchAndPersist());
    carryOut(3);
  }
  reopen();
  EXPECT_THAT(queues->takeLeftCalls().calls, SizeIs(1));
}

TEST_F(KovaQueueManagerTest, PushesACallsMessageOutOnceWhateverItsFileTakes) {
  queues->calls().note(std::string(400'000, 'x'));
  std::array<KICallLog::Number, 6> calls;
  for (auto& call : calls) call = queues->calls().note("");
  {
    const auto full = ResourceLimit::fileSize(400'000);
    for (const auto& call : calls) queues->enqueueMessage(unenriched(1), {&call, 1});
  }
  reopen();
  EXPECT_THAT(queues->takeLeftCalls().calls, SizeIs(1));
}

TEST_F(KovaQueueManagerTest, RefusesACallOnce) {
  enqueueBatches({1, 2, 3});
  const KICallLog::Number call = queues->calls().note("");
  queues->enqueueMessage(enriched(4), {&call, 1});
  reopen();
  EXPECT_THAT(queues->takeLeftCalls().calls, IsEmpty());
}

TEST_F(KovaQueueManagerTest, MakesBatchesOfMessagesThatAreEnrichedAndKeepsTheOthers) {
  int number = 0;
  KovaQueueManager::Batch taken;
  const std::function<void()> ready = [&] { queues->enqueueMessage(enriched(++number)); };
  const auto early = [&] { queues->enqueueMessage(unenriched(++number)); };
  const auto move = [&] { queues->moveEnqueuedMessagesToBatchAndPersist(); };
  const auto moveOnly = [&] { queues->moveEnqueuedMessagesToBatchAndPersist(false); };
  const auto view = [&] { queues->enqueueFirstPageviewUrlString("h", messages); };
  const auto full = [&] { enqueueUrls({"x", "x", "x"}); };
  const auto take = [&] { taken = queues->dequeueMessageJSONPayloadWithMessageBatch()->batch; };
  const auto putBack = [&] { queues->requeueFailedMessageBatch(taken); };
  const auto restart = [&] { reopen(); };
  const struct {
    std::vector<std::function<void()>> steps;
    Counts waiting;
    const char* stored;  // messages, by their numbers
  } cases[] = {
      {{moveOnly}, {0, 0, 0}, "(nothing)"},
      {{move}, {0, 0, 0}, "[]"},
      // One that is not enriched holds back all.
      {{ready, early, ready, moveOnly}, {0, 3, 0}, "(nothing)"},
      {{ready, early, ready, move, restart}, {0, 3, 0}, "[1,2,3]"},
      {{ready, early, move, restart, view, moveOnly, restart}, {1, 0, 1}, "[]"},
      {{early, full, view, move}, {3, 0, 1}, "[]"},
      // Without a batch the oldest is pushed out, and no sooner.
      {{early, ready, early, ready, ready}, {0, 3, 0}, "(nothing)"},
      {{early, ready, early, ready, ready, move, restart}, {0, 3, 0}, "[3,4,5]"},
      // A full queue becomes a batch before the next message, which the journal keeps.
      {{ready, ready, ready}, {0, 3, 0}, "(nothing)"},
      {{ready, ready, ready, ready}, {0, 1, 1}, "[]"},
      {{ready, ready, ready, ready, restart}, {0, 1, 1}, "[]"},
      // What the journal holds comes back within the limit, once.
      {{early, ready, restart, restart}, {0, 2, 0}, "(nothing)"},
      {{early, ready, restart, move}, {0, 2, 0}, "[1,2]"},
      {{early, ready, early, ready, ready, early, ready, restart}, {0, 3, 0}, "[5,6,7]"},
      // Messages are dropped while the batches have no room. Neither a move nor putting back asks for it.
      {{ready, move, ready, move, ready}, {0, 1, 2}, "[]"},
      {{ready, move, ready, move, ready, move, ready}, {0, 0, 3}, "[]"},
      {{ready, move, ready, move, ready, move, take, ready, putBack, move}, {0, 0, 4}, "[]"},
      {{ready, move, ready, move, take, restart}, {0, 0, 2}, "[]"},
  };
  viewPages();
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    SCOPED_TRACE(i);
    queues = nullptr;  // who holds the journal
    openStore()->clear();
    reopen();
    number = 0;
    for (const auto& step : cases[i].steps) step();
    EXPECT_EQ(waiting(), cases[i].waiting);
    EXPECT_EQ(queues->canEnqueueMessage(), cases[i].waiting[2] < kLimits.queuedMessageBatches);
    EXPECT_EQ(storedNumbers(), cases[i].stored);
  }
}

TEST_F(KovaQueueManagerTest, WritesABodyByteByByteFromAFileOrInlineWhereNoneCanBeWritten) {
  const std::string array = R"([{"name":"é \"x\"","pageviewInfo":{},"sessionInfo":{"id":"7"}},)"
                            R"({"n":2,"pageviewInfo":{},"sessionInfo":{}}])";
  for (const bool hasFiles : {true, false}) {
    SCOPED_TRACE(hasFiles);
    if (!hasFiles) {
      std::filesystem::remove_all(device.batchDirectory());
      std::ofstream(device.batchDirectory()) << "a regular file";
      reopen();
    }
    enqueue(
        {{{"name", "é \"x\""}, {"pageviewInfo", Dictionary()}, {"sessionInfo", {{"id", "7"}}}}, enriched(2)});
    queues->moveEnqueuedMessagesToBatchAndPersist();
    const auto files = device.batchFiles();
    EXPECT_EQ(files.size(), hasFiles);
    EXPECT_EQ(stored("queuedMessageBatches"), hasFiles ? R"([{"messagesIdentifier":")" + files[0] + R"("}])"
                                                       : R"([{"messages":)" + array + "}]");
    reopen();
    device.advance(2);
    const auto next = queues->dequeueMessageJSONPayloadWithMessageBatch().value();
    EXPECT_EQ(next.payload, body(array, hasFiles ? 2 : 6));
    EXPECT_EQ(queues->messageArrayDataForMessageBatch(next.batch), array);
    device.advance(2);
    EXPECT_EQ(queues->payloadFromMessageBatch(next.batch), body(array, hasFiles ? 4 : 8));
    queues->cleanUpSentMessageBatch(next.batch);
    EXPECT_THAT(device.batchFiles(), IsEmpty());
    EXPECT_EQ(dequeuedBody(), "(none)");
    EXPECT_EQ(stored("queuedMessageBatches"), "[]");
  }
}

TEST_F(KovaQueueManagerTest, SaysOnceThatMessagesWaitForAPageview) {
  enqueue({unenriched(1)});
  device.advance(1);
  viewPages();
  queues->enqueueFirstPageviewUrlString("h", messages);
  device.advance(4);
  EXPECT_THAT(device.log(), IsEmpty());
  for (const int number : {2, 3}) {
    enqueue({unenriched(number)});
    device.advance(4);
  }
  EXPECT_THAT(device.log(), ElementsAre(HasSubstr("Messages wait for a pageview")));
}

TEST_F(KovaQueueManagerTest, DropsBatchesWithoutABodyAndGoesOnWithTheNext) {
  storeBatches({named("gone"),
                {{"messagesIdentifier", 5}},
                {{"messages", Array{std::nan("")}}},
                Dictionary(),
                "no batch",
                {{"messages", Array{}}, {"messagesIdentifier", "gone too"}},
                inlineBatch(1),
                named("last")});
  EXPECT_EQ(dequeuedBody(), body(R"([{"n":1}])"));
  EXPECT_THAT(device.log(), AllOf(SizeIs(5), Each(kUnserialisable)));
  EXPECT_EQ(stored("queuedMessageBatches"), R"([{"messages":[{"n":1}]},{"messagesIdentifier":"last"}])");
  EXPECT_EQ(dequeuedBody(), "(none)");
  EXPECT_EQ(device.log().size(), 6u);
  EXPECT_EQ(stored("queuedMessageBatches"), R"([{"messages":[{"n":1}]}])");
}

TEST_F(KovaQueueManagerTest, KeepsABatchThatCannotBeReadForTheMomentAndAllBehindIt) {
  storeBatches({named("first"), inlineBatch(1)});
  // A disk error, which reading that file is: not dropped before it has outlasted a restart.
  const std::string first = device.batchDirectory() + "/first";
  std::filesystem::create_symlink("/proc/self/mem", first);
  for (int i = 0; i < 2; ++i) EXPECT_EQ(dequeuedBody(), "(none)");
  EXPECT_THAT(device.logLinesWith("Input/output error"), SizeIs(2));

  // After the above, because a sanitizer that meets a type for the first time needs descriptors, too.
  std::filesystem::remove(first);
  NSFileManager().createFile(first, "[1]");
  {
    const auto none = ResourceLimit::descriptors(0);
    EXPECT_EQ(dequeuedBody(), "(none)");
  }
  EXPECT_THAT(device.logLinesWith("waits for the next upload: Too many open files"), SizeIs(1));
  EXPECT_EQ(waiting(), (Counts{0, 0, 2}));
  EXPECT_THAT(device.logLinesWith("Failed to serialize"), IsEmpty());
  std::filesystem::remove(first);
  std::filesystem::create_symlink("/proc/self/mem", first);
  reopen();
  EXPECT_EQ(dequeuedBody(), body(R"([{"n":1}])"));
  EXPECT_THAT(device.logLinesWith("Failed to serialize"), SizeIs(1));
}

TEST_F(KovaQueueManagerTest, WhatAStepCouldNotStoreIsStoredByTheNextPass) {
  queues = std::make_shared<KovaQueueManager>(store, kLimits);
  queues->moveEnqueuedMessagesToBatchAndPersist();  // from now on a pass has nothing of its own to store
  device.store("somebodyElses", std::string(200'000, 'x'));
  {
    const auto full = ResourceLimit::fileSize(100'000);
    EXPECT_FALSE(store->changeInOneStep([this] { queues->enqueueUrlString("h?n=1"); }));
  }
  queues->moveEnqueuedMessagesToBatchAndPersist();
  UserDefaultsDatabase database(directories().preferences + "/com.example.app.sqlite");
  EXPECT_EQ(database.read("kova_12345_queuedPageviews")->text, R"(["h?n=1"])");
}

TEST_F(KovaQueueManagerTest, RefusesAMessageThatNoJSONCanBeMadeOf) {
  for (const Value& bad :
       {Value(std::nan("")), Value(HUGE_VAL), Value(NSDate()), Value(Dictionary{{1, "one"}})}) {
    enqueue({{{"bad", bad}}});
  }
  EXPECT_THAT(device.log(), AllOf(SizeIs(4), Each(kUnserialisable)));
  EXPECT_EQ(waiting(), (Counts{0, 0, 0}));
}

TEST_F(KovaQueueManagerTest, LoadsStoredItemsOfTheRightKindAlone) {
  device.store("queuedPageviews", Array{"h?n=1", 5, nullptr});
  device.store("parts", Array{"text", {{"n", 1}}, Array{}});
  reopen();
  EXPECT_EQ(waiting(), (Counts{1, 1, 0}));
}

TEST_F(KovaQueueManagerTest, IsSharedByTheTrackersOfOneEnvironmentWhileItLives) {
  auto first = KovaQueueManager::forStore(store, kLimits);
  first->enqueueMessage(unenriched(1));  // in memory only
  EXPECT_EQ(KovaQueueManager::forStore(store, kLimits), first);
  EXPECT_NE(KovaQueueManager::forStore(std::make_shared<KovaPersistentStore>("6"), kLimits), first);
  first = nullptr;
  EXPECT_EQ(KovaQueueManager::forStore(store, kLimits)->queuedEventsCount(), 0u);
}

}  // namespace
