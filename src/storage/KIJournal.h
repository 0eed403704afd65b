#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/foundation/RecordFile.h"
#include "platform/foundation/Value.h"
#include "src/core/Threads.h"
#include "src/storage/KICallLog.h"

class KovaPersistentStore;

// Messages from the moment they are queued until the store holds them, in a file next to the batch directory,
// which the kernel keeps when the process is killed.
//
// The store and the journal agree by a number. The step of the store that takes messages over writes the next
// number, into the journal behind what it takes over, and then, with the rest of the step, into the store. A
// start takes what stands behind the first number that is not below the stored one: whenever the process
// ends, and whenever the step reaches the disk, nothing is lost, and nothing that the store has comes back.
//
// The store, held by the owner, must outlive it. No operation fails: without a place to write, or with a
// journal that another process holds, messages are in memory only until they are stored, and a debug line
// says so once.
class KIJournal {
 public:
  explicit KIJournal(KovaPersistentStore& store) : store_(store) {}

  struct Contents {
    std::vector<platform::MutableDictionary> messages;  // that the store has not taken over, oldest first
    std::vector<std::string> texts;                     // of the messages, one each, in JSON
    KICallLog::Numbers calls;                           // that have been done, as far as it knows
  };
  // Opens the journal. None, with nothing opened, while the store cannot be read.
  std::optional<Contents> open() KOVA_ON_MUTATION_QUEUE;
  bool isOpen() const KOVA_ON_MUTATION_QUEUE { return file_ != nullptr; }
  // Whether a step of the store is worth while that lets it be emptied.
  bool isLong() const KOVA_ON_MUTATION_QUEUE;

  // The JSON text of a message, and the calls that it came of. A later one with the same id replaces it.
  // False when it is in memory only.
  bool keep(std::string_view message, std::span<const KICallLog::Number> calls = {}) KOVA_ON_MUTATION_QUEUE;

  // All that is to be kept, in place of what there is.
  void rewrite(const std::vector<std::string>& messages) KOVA_ON_MUTATION_QUEUE;

  // Within the step of the store that takes all messages over; and when that step is done. Until what it has
  // written outlives a power failure, the messages stay, unless they are many.
  void noteTakenOver() KOVA_ON_MUTATION_QUEUE;
  void forgetTakenOver() KOVA_ON_MUTATION_QUEUE;
  // All steps up to the number do now: empties the file, if nothing has been kept since.
  std::uint64_t number() const KOVA_ON_MUTATION_QUEUE { return number_; }
  void noteOnDisk(std::uint64_t number) KOVA_ON_MUTATION_QUEUE;

  // Lets go of the file: from now on messages are in memory only.
  void close() KOVA_ON_MUTATION_QUEUE { file_ = nullptr; }

  // Empties journal and calls of the store's place, unless somebody holds them; or removes them, and the
  // number.
  static void clearFor(const KovaPersistentStore& store);
  static void removeFor(KovaPersistentStore& store) KOVA_ON_MUTATION_QUEUE;
  static bool existsFor(const KovaPersistentStore& store);
  // Of the journal and the calls: what the records take, in bytes.
  static std::uint64_t sizeFor(const KovaPersistentStore& store);
  // The journal, and the file of the calls beside it.
  static std::vector<std::string> pathsFor(const KovaPersistentStore& store);
  // Of that file, whose folder is made if need be.
  static std::string pathOfCallsIn(const KovaPersistentStore& store);

 private:
  static std::string pathOfCallsFor(const KovaPersistentStore& store);
  static std::string pathFor(const KovaPersistentStore& store);
  bool writeNumber() KOVA_ON_MUTATION_QUEUE;
  void empty() KOVA_ON_MUTATION_QUEUE;
  void tellOnce(std::string_view what) KOVA_ON_MUTATION_QUEUE;

  KovaPersistentStore& store_;
  std::unique_ptr<platform::RecordFile> file_;  // null until opened, and without a place to write
  std::uint64_t number_ = 0;
  bool isNumberWritten_ = false;  // the number stands in the file, ahead of what is kept next
  bool hasKept_ = false;          // something since the number was written
  bool isDue_ = false;            // to be emptied: something stands ahead of the number
  bool isTold_ = false;
};
