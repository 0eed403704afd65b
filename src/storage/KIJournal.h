#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/foundation/RecordFile.h"
#include "platform/foundation/Value.h"
#include "src/core/Threads.h"

class KovaPersistentStore;

// Messages from the moment they are queued until the store holds them, in a file next to the batch directory,
// which the kernel keeps when the process is killed. The store and the journal agree by a number: the step of
// the store that takes the messages over also stores the number with which the journal begins anew, so that
// an end of the process in between brings nothing back twice.
//
// The store, held by the owner, must outlive it. No
// operation fails: without a place to write, or with a journal that another process holds, messages are in
// memory only until they are stored, and a debug line says so once.
class KIJournal {
 public:
  explicit KIJournal(KovaPersistentStore& store) : store_(store) {}

  // Opens the journal, once the store can be read, and answers the messages that the store has not taken
  // over, oldest first, each as it was kept last.
  std::vector<platform::MutableDictionary> open() KOVA_ON_MUTATION_QUEUE;

  // The JSON text of a message. One with the id of an earlier one replaces it.
  void keep(std::string_view message) KOVA_ON_MUTATION_QUEUE;

  // All that has been kept and not taken over, in place of what there is.
  void rewrite(const std::vector<std::string>& messages) KOVA_ON_MUTATION_QUEUE;

  // Within the step of the store that takes all messages over; and when that step is done.
  void noteTakenOver() KOVA_ON_MUTATION_QUEUE;
  void beginAnew() KOVA_ON_MUTATION_QUEUE;

  static void removeFor(const KovaPersistentStore& store);

 private:
  static std::string pathFor(const KovaPersistentStore& store);
  void tellOnce(std::string_view what) KOVA_ON_MUTATION_QUEUE;

  KovaPersistentStore& store_;
  std::unique_ptr<platform::RecordFile> file_;  // null until opened, and without a place to write
  bool isTold_ = false;
};
