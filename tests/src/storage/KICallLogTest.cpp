#include "src/storage/KICallLog.h"

#include <gmock/gmock.h>
#include <stdlib.h>

#include <filesystem>

#include "platform/foundation/SystemLog.h"
#include "platform/simulator/SimulatedScheduler.h"
#include "src/core/KovaLogger.h"
#include "tests/support/ResourceLimit.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class KICallLogTest : public testing::Test {
 protected:
  KICallLogTest() {
    platform::Scheduler::install(std::make_unique<platform::SimulatedScheduler>());
    folder = (std::filesystem::temp_directory_path() / "calls-XXXXXX").string();
    EXPECT_NE(mkdtemp(folder.data()), nullptr);
  }
  ~KICallLogTest() override { std::filesystem::remove_all(folder); }

  using Number = KICallLog::Number;
  std::unique_ptr<KICallLog> open(const KICallLog::Done& done = {}) {
    auto log = std::make_unique<KICallLog>();
    log->open(path());
    left = log->takeLeft(done);
    return log;
  }
  std::string path() const { return folder + "/calls"; }
  std::vector<std::string> leftCalls() const {
    std::vector<std::string> texts;
    for (const auto& call : left.calls)
      texts.push_back(call.arguments + (call.moment.empty() ? "" : " at " + call.moment));
    return texts;
  }

  std::string folder;
  KICallLog::Left left;
};

TEST_F(KICallLogTest, LeavesWhatIsNotDone) {
  Number journaled;
  {
    const auto log = open();
    log->noteSession("session");
    const Number done = log->note("done");
    const Number undone = log->note("undone");
    journaled = log->note("journaled");
    const Number written[] = {log->note("written"), log->note("written")};
    log->note("last");
    log->noteDone(done);
    log->noteMoment(undone, "noon");
    log->noteJournaled(written);
    log->writeDone();
    log->noteJournaled({&journaled, 1});
  }
  {
    const auto log = open({{journaled}, {}});
    EXPECT_THAT(leftCalls(), ElementsAre("undone at noon", "last"));
    EXPECT_EQ(left.sessions[left.calls[0].session], "session");
    log->noteDone(left.calls[0].number);
    log->writeDone();  // as the journal is about to let go of its message
    log->note("of the next process");
  }
  open();
  EXPECT_THAT(leftCalls(), ElementsAre("last", "of the next process"));
}

// A clock that was set back would give a call the number of one that is known to be done.
TEST_F(KICallLogTest, TakesNoNumberThatIsKnownToBeDone) {
  const Number first = open()->note("first");
  std::filesystem::remove(path());
  const Number second = open({{first}, {}})->note("second");
  std::filesystem::remove(path());
  EXPECT_GT(second, first);
  const Number third = open({{first}, {second}})->note("third");
  EXPECT_GT(third, second);
  std::filesystem::resize_file(path(), std::filesystem::file_size(path()) - 1);  // as a power failure may
  EXPECT_GT(open({{third}, {}})->note("fourth"), third);
}

TEST_F(KICallLogTest, TakesCallsOfALogSink) {
  open()->note("call");
  std::filesystem::resize_file(path(), std::filesystem::file_size(path()) - 1);
  KovaLogger::sharedInstance().setLogLevel(kKovaLogLevelDebug);
  KICallLog log;
  Number noted = KICallLog::kNotNoted;
  platform::SystemLog::setSink([&](std::string_view) { noted = log.note("of the sink"); });
  log.open(path());
  platform::SystemLog::setSink(nullptr);
  EXPECT_NE(noted, KICallLog::kNotNoted);
}

// One of them was killed before it could know what is done, another while it did what was left.
TEST_F(KICallLogTest, LeavesTheCallsOfEachProcessInTheirOwnSession) {
  const auto leave = [this](const std::string& session, const std::string& call) {
    auto log = std::make_unique<KICallLog>();
    log->open(path());
    log->noteSession(session);
    log->note(call);
    return log;
  };
  leave("one", "a");
  leave("two", "b");
  {
    const auto log = leave("three", "c");
    left = log->takeLeft({});
    EXPECT_THAT(leftCalls(), ElementsAre("a", "b")) << "its own call is not left yet";
    log->noteLeftSession(left.calls[0].session, "one, later");
    const std::string large(10'000, 'x');
    for (int i = 0; i < 200; ++i) log->noteDone(log->note(large));  // so that it is written anew
  }
  open();
  std::vector<std::string> sessions;
  for (const auto& call : left.calls) sessions.push_back(call.arguments + ": " + left.sessions[call.session]);
  EXPECT_THAT(sessions, ElementsAre("a: one, later", "b: two", "c: three"));
}

TEST_F(KICallLogTest, StaysShort) {
  const std::string large(10'000, 'x');
  const auto log = open();
  log->noteSession("session");
  const Number undone = log->note("undone");
  for (int i = 0; i < 1'000; ++i) log->noteDone(log->note(large));
  EXPECT_LT(std::filesystem::file_size(path()), 3'000'000u) << "although there was always one to be done";
  log->noteDone(undone);
  EXPECT_LT(std::filesystem::file_size(path()), 100u);
  for (int i = 0; i < 3'000; ++i) log->note(large);
  EXPECT_EQ(log->note(large), KICallLog::kNotNoted);
  EXPECT_LT(std::filesystem::file_size(path()), 20'000'000u);
}

TEST_F(KICallLogTest, GivesUpWhatNoStartGetsThrough) {
  open()->note("deadly");
  for (int i = 0; i < 3; ++i) {
    open();
    EXPECT_THAT(leftCalls(), ElementsAre("deadly"));
  }
  open()->writeDone();
  EXPECT_THAT(leftCalls(), IsEmpty());
  open()->note("harmless");
  open();
  EXPECT_THAT(leftCalls(), ElementsAre("harmless"));
}

TEST_F(KICallLogTest, LeavesOutNothingThatStartsGetThrough) {
  open()->note("call");
  for (int i = 0; i < 5; ++i) {
    const auto log = open();
    ASSERT_THAT(leftCalls(), ElementsAre("call")) << i;
    log->noteDone(left.calls[0].number);
    log->noteThrough();
    log->note("call");
  }
}

// Or the next start would do it again.
TEST_F(KICallLogTest, TellsLaterWhatAFullDiskDidNotTake) {
  for (const bool isOneUndone : {false, true}) {
    {
      const auto log = open();
      const Number done = log->note("done");
      const Number journaled = log->note("journaled");
      const Number other = isOneUndone ? log->note("undone") : log->note("last");
      {
        const auto full = ResourceLimit::fileSize(std::filesystem::file_size(path()));
        log->noteDone(done);
        log->noteJournaled({&journaled, 1});
        log->writeDone();
        if (!isOneUndone) log->noteDone(other);
      }
      if (isOneUndone) log->writeDone();
    }
    open();
    EXPECT_THAT(leftCalls(), testing::ElementsAreArray(isOneUndone ? std::vector<std::string>{"undone"}
                                                                   : std::vector<std::string>{}))
        << isOneUndone;
  }
}

TEST_F(KICallLogTest, KeepsNothingWithoutAPlace) {
  folder += "/missing";
  const auto log = open();
  EXPECT_EQ(log->note("call"), KICallLog::kNotNoted);
  log->noteDone(KICallLog::kNotNoted);
  log->writeDone();
}

}  // namespace
