// The real queues and store, held against the model of delivery.pml: sequences of deeds at random, shrunk to
// the shortest that fails, after each of which what waits, what is counted and what has arrived, by whom and
// in which order, must be what the model says.
//
//   RC_PARAMS="seed=1 max_success=1000" proof-model

#include <rapidcheck.h>

#include <algorithm>
#include <deque>
#include <map>
#include <vector>

#include "platform/foundation/NSJSONSerialization.h"
#include "src/core/NSOperationQueue+SafeOperation.h"
#include "src/events/KovaAppProperties.h"
#include "src/events/KovaMessageBuilder.h"
#include "src/identity/KIIdentityManager.h"
#include "src/identity/KISessionManager.h"
#include "src/storage/KovaQueueManager.h"
#include "tests/support/Json.h"
#include "tests/support/SimulatedDevice.h"

using namespace platform;

namespace {

// As in delivery.pml: host, library, service, killer.
enum class Deed { Track, Reset, Work, Page, Tick, Send, Answer, Fail, Kill, Erase };
constexpr std::size_t kLimit = 3;

std::ostream& operator<<(std::ostream& stream, Deed deed) {
  constexpr const char* kNames[] = {"Track", "Reset",  "Work", "Page", "Tick",
                                    "Send",  "Answer", "Fail", "Kill", "Erase"};
  return stream << kNames[static_cast<int>(deed)];
}

struct Event {
  int id;
  int user;
  bool isBare = false;  // waits for a pageview

  bool operator==(const Event& other) const { return id == other.id && user == other.user; }
};
using Events = std::vector<Event>;

std::ostream& operator<<(std::ostream& stream, const Event& event) {
  return stream << event.id << " of " << event.user;
}

struct Model {
  std::deque<int> calls;  // an event's id, or kReset
  static constexpr int kReset = -1;
  Events single, stored, journal;
  std::deque<Events> batches;  // an empty one: delivered, and its row remains
  std::size_t rowsOfDelivered = 0, droppedSinceRewrite = 0;
  std::optional<Events> flight;
  Events delivered;
  int user = 0;
  bool hasPage = false;
  KovaCounts counts;

  bool isBare() const {
    return std::any_of(single.begin(), single.end(), [](const Event& event) { return event.isBare; });
  }
  void persist() {
    stored = single;
    journal.clear();
    rowsOfDelivered = droppedSinceRewrite = 0;
  }
  void move(bool persistsAnyway) {
    if (!single.empty() && !isBare()) {
      batches.push_back(std::exchange(single, {}));
      persist();
    } else if (persistsAnyway) {
      persist();
    }
  }
  void makeRoomFor(std::size_t count) {
    for (; single.size() + count > kLimit; single.erase(single.begin())) {
      ++counts.pushedOut;
      ++droppedSinceRewrite;
    }
    if (droppedSinceRewrite < kLimit) return;
    droppedSinceRewrite = 0;
    journal = single;
  }
  void work() {
    if (calls.empty()) return;
    const int call = calls.front();
    calls.pop_front();
    if (call == kReset) return static_cast<void>(++user);
    ++counts.accepted;
    if (single.size() >= kLimit) move(false);
    if (batches.size() >= kLimit) {
      ++counts.refused;
      return;
    }
    makeRoomFor(1);
    single.push_back({call, user, !hasPage});
    journal.push_back(single.back());
  }
  void page() {
    hasPage = true;
    for (Event& event : single) {
      if (std::exchange(event.isBare, false)) journal.push_back(event);
    }
  }
  void send() {
    if (flight) return;
    for (rowsOfDelivered = 0; !batches.empty() && !flight; batches.pop_front()) {
      if (batches.front().empty()) {
        ++counts.unreadable;
      } else {
        flight = batches.front();
      }
    }
  }
  void answer(bool isLost) {
    if (!flight) return;
    if (isLost) {
      counts.possiblyTwice += flight->size();
      batches.push_front(*flight);
      rowsOfDelivered = 0;
    } else {
      counts.delivered += flight->size();
      delivered.insert(delivered.end(), flight->begin(), flight->end());
      ++rowsOfDelivered;
    }
    flight.reset();
  }
  void kill() {
    if (flight) batches.push_front(*std::exchange(flight, std::nullopt));
    batches.insert(batches.begin(), rowsOfDelivered, Events());
    counts = {};
    hasPage = false;
    const bool isAllStored = journal.empty();
    single = stored;
    for (const Event& event : journal) {
      const auto known = std::find(single.begin(), single.end(), event);
      if (known == single.end()) {
        single.push_back(event);
      } else {
        *known = event;
      }
    }
    rowsOfDelivered = droppedSinceRewrite = 0;
    if (!isAllStored) {
      if (single.size() > kLimit) move(false);
      makeRoomFor(0);
      persist();
    }
    if (calls.empty()) return;
    while (!calls.empty()) work();
    persist();
  }
  void erase() {
    Model empty;
    empty.delivered = std::move(delivered);
    empty.user = user + 1;
    *this = std::move(empty);
  }
};

// A process of the library; dropping it is a kill: no destructor stores anything.
struct Process {
  const std::shared_ptr<KovaPersistentStore> store =
      std::make_shared<KovaPersistentStore>(SimulatedDevice::kEnvironment);
  KIIdentityManager identity{store};
  KISessionManager session{true};
  const KovaAppProperties properties{KovaOptions()};
  const KovaMessageBuilder messages{SimulatedDevice::kEnvironment, properties, session, identity};
  const std::shared_ptr<KovaQueueManager> queues =
      std::make_shared<KovaQueueManager>(store, KovaQueueManager::Limits{kLimit, kLimit, kLimit});
  std::deque<std::pair<KICallLog::Number, std::string>> inbox;
  std::optional<KovaQueueManager::Dequeued> flight;
  bool hasPage = false;

  // Does what the process before has left, as KovaTracker::redoLeftCalls does.
  Process() {
    const auto left = queues->takeLeftCalls();
    queues->adoptLeftovers();
    for (const auto& call : left.calls) inbox.emplace_back(call.number, call.arguments);
    if (inbox.empty()) return;
    while (!inbox.empty()) work();
    queues->persistQueuedEvents();
    queues->calls().noteThrough();
  }
  void call(const std::string& what) { inbox.emplace_back(queues->calls().note(what), what); }
  void work() {
    if (inbox.empty()) return;
    const auto [number, what] = inbox.front();
    inbox.pop_front();
    if (what == "reset") {
      return queues->carryOut({&number, 1}, [this] {
        identity.setUrlEncodedIdentity("somebody", true);
        identity.resetIdentity();
      });
    }
    MutableDictionary message{{"id", what}, {"user", identity.userId()}};
    if (hasPage) {
      message.set("pageviewInfo", Dictionary());
      message.set("sessionInfo", Dictionary());
    }
    queues->enqueueMessage(std::move(message), {&number, 1});
  }
  void page() {
    hasPage = true;
    session.loggedPageviewWithPageviewInfo({{"id", "1"}}, {{"h", "Home"}});
    queues->enqueueFirstPageviewUrlString("/h?a=1", messages);
  }
};

class Comparison {
 public:
  Comparison() : process(std::make_unique<Process>()) { kova::mutationQueue.isHere(); }
  ~Comparison() { eraseStored(); }

  void perform(Deed deed) {
    switch (deed) {
      case Deed::Track:
        model.calls.push_back(next);
        return process->call(std::to_string(next++));
      case Deed::Reset:
        model.calls.push_back(Model::kReset);
        return process->call("reset");
      case Deed::Work:
        return model.work(), process->work();
      case Deed::Page:
        return model.page(), process->page();
      case Deed::Tick:
        return model.move(true), static_cast<void>(process->queues->moveEnqueuedMessagesToBatchAndPersist());
      case Deed::Send:
        model.send();
        if (!process->flight) process->flight = process->queues->dequeueMessageJSONPayloadWithMessageBatch();
        return;
      case Deed::Answer:
      case Deed::Fail:
        return model.answer(deed == Deed::Fail), answer(deed == Deed::Fail);
      case Deed::Kill:
        model.kill();
        return restart();
      case Deed::Erase:
        model.erase();
        return erase();
    }
  }
  void compare() const {
    const KovaCounts real = process->queues->counters()->status().events;
    RC_ASSERT(real.accepted + real.found == real.waiting + real.delivered + real.pushedOut + real.refused +
                                                real.unsendable + real.unreadable);
    RC_ASSERT(real.accepted == model.counts.accepted);
    RC_ASSERT(real.delivered == model.counts.delivered);
    RC_ASSERT(real.pushedOut == model.counts.pushedOut);
    RC_ASSERT(real.refused == model.counts.refused);
    RC_ASSERT(real.unreadable == model.counts.unreadable);
    RC_ASSERT(real.possiblyTwice == model.counts.possiblyTwice);
    RC_ASSERT(real.unsendable + real.inMemory == 0u);
    RC_ASSERT(process->queues->queuedEventsCount() == model.single.size());
    RC_ASSERT(process->queues->queuedMessageBatchesCount() == model.batches.size());
    RC_ASSERT(arrived == model.delivered);
  }
  // Until nothing is left.
  void finish() {
    for (const Deed deed : {Deed::Kill, Deed::Page, Deed::Tick}) perform(deed), compare();
    while (process->flight || process->queues->queuedMessageBatchesCount() > 0) {
      for (const Deed deed : {Deed::Send, Deed::Answer}) perform(deed), compare();
    }
    RC_ASSERT(process->queues->queuedEventsCount() == 0u);
  }

 private:
  void restart() {
    process = nullptr;  // one process at a time has the journal
    process = std::make_unique<Process>();
  }
  bool eraseStored() {
    process->queues->abandonStore();
    return process->store->erase();
  }
  void erase() {
    RC_ASSERT(eraseStored());
    restart();
  }
  void answer(bool isLost) {
    if (!process->flight) return;
    const auto [payload, batch] = *std::exchange(process->flight, std::nullopt);
    if (isLost) return process->queues->requeueFailedMessageBatch(batch);
    process->queues->cleanUpSentMessageBatch(batch);
    const Dictionary body = NSJSONSerialization::JSONObjectWithData(payload)->dictionary();
    for (const Value& message : at(body, "messages").array()) {
      const std::string id(at(message.dictionary(), "id").text());
      const std::string user(at(message.dictionary(), "user").text());
      const Event& expected = model.delivered[std::min(arrived.size(), model.delivered.size() - 1)];
      // Ids of users are the library's own: one for each of the model's, and none for two.
      const auto known = users.emplace(user, expected.user).first;
      arrived.push_back({std::stoi(id), known->second});
    }
  }

  Model model;
  std::unique_ptr<Process> process;
  Events arrived;
  std::map<std::string, int> users;
  int next = 0;
};

}  // namespace

int main() {
  SimulatedDevice device;
  std::size_t deeds = 0, kills = 0;
  const auto anyDeed = rc::gen::weightedElement<Deed>({{8, Deed::Track},
                                                       {2, Deed::Reset},
                                                       {8, Deed::Work},
                                                       {2, Deed::Page},
                                                       {5, Deed::Tick},
                                                       {5, Deed::Send},
                                                       {4, Deed::Answer},
                                                       {2, Deed::Fail},
                                                       {3, Deed::Kill},
                                                       {1, Deed::Erase}});
  const bool holds = rc::check("the queues do what the model does", [&] {
    Comparison comparison;
    for (const Deed deed : *rc::gen::container<std::vector<Deed>>(anyDeed)) {
      comparison.perform(deed);
      comparison.compare();
      ++deeds;
      kills += deed == Deed::Kill;
    }
    comparison.finish();
  });
  std::printf("%zu deeds, %zu kills\n", deeds, kills);
  return holds && deeds > 0 ? 0 : 1;
}
