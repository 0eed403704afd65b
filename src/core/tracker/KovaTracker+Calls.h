#pragma once

// How the tracker's own files note what the host calls.

#include <span>
#include <string>
#include <utility>
#include <vector>

#include "platform/foundation/ValueCoding.h"
#include "src/core/tracker/KovaTracker+Perform.h"
#include "src/storage/KICallLog.h"
#include "src/storage/KovaQueueManager.h"

// What a record begins with. Its arguments follow, in the order in which they are noted.
enum class KovaTracker::Call : char {
  CustomEvent = 'e',
  Touch = 't',
  Pageview = 'p',
  Identify = 'i',
  ResetIdentity = 'r',
  AddUserProperties = 'u',
  AddEventProperties = 'a',
  RemoveEventProperty = 'd',
  ClearEventProperties = 'c',
};

// A call of an earlier process.
struct KovaTracker::LeftCall {
  std::vector<KICallLog::Number> numbers;  // of a touch also those of its actions
  Call call;
  std::string arguments;  // those that have not been taken yet
  std::string moment;     // empty unless it was noted
  std::string changed;    // of a touch, as its last action left it; the ancestry is as it was
  KICallLog::Number session;

  // Null when there are no more.
  platform::Value next();
  // What is missing in it was not noted.
  KIMoment momentAt(const platform::Value& timestamp) const;
};

template <class... Arguments>
std::uint64_t KovaTracker::note(Call call, const Arguments&... arguments) const {
  return queueManager_->calls().note([&](platform::ByteBuffer& bytes) {
    bytes.add(static_cast<char>(call));
    (platform::appendEncoded(bytes, arguments), ...);
  });
}

template <class Block>
void KovaTracker::performNotedOnMutationQueue(const char* selector, std::uint64_t call, Block block) {
  performSafelyOnMutationQueueSoonWithBlock(
      selector, [call, block = std::move(block)](KovaTracker& tracker) KOVA_ON_MUTATION_QUEUE mutable {
        tracker.queueManager_->carryOut({&call, 1}, [&] {
          kova::mutationQueue.isHere();
          block(tracker);
        });
      });
}
