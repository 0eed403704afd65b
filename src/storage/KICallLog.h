#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/foundation/ByteBuffer.h"
#include "platform/foundation/RecordFile.h"
#include "platform/runtime/Mutex.h"
#include "src/core/Threads.h"

// Calls of the host, on their way to disk when they return: in a file of their own beside the journal, until
// what they did is in the store or in the journal. The next start does what the process did not get to.
//
// A record holds the arguments of a call, not the message that will come of it: user, session and room are
// known on the mutation queue alone, when everything before has been done, and a call must not wait for that.
// Done again in their order, from the stored user and from the session as it last was, calls come to what
// they would have come to. Writing takes one system call, in the caller's thread. A mapped file would take
// none, and end the host by a signal when somebody cuts it.
//
// Each process that writes into the file numbers its calls from its own first on, and notes its session under
// that number: what several have left, one after the other, is done again each in its own session.
//
// Without a file, or a place on the disk, calls are in memory only. note() may be called from any thread, one
// at a time gets in.
class KICallLog {
 public:
  using Number = std::uint64_t;
  using Numbers = std::set<Number>;
  static constexpr Number kNotNoted = 0;

  // What a process has left undone.
  struct Left {
    struct Call {
      Number number;
      std::string arguments;
      std::string moment;  // empty unless it was noted
      Number session;      // which of those below
    };
    std::vector<Call> calls;                 // in their order
    std::map<Number, std::string> sessions;  // as they last were
  };

  // Calls that have been done, although the file may not say so.
  struct Done {
    Numbers journaled;  // the journal holds their messages
    Numbers stored;     // what they did is stored, and so is that they are done
  };
  // Opens the file at the path, or makes it, unless it is open. From now on calls are noted.
  void open(const std::string& path) KOVA_ON_MUTATION_QUEUE;
  // What others have left, once it is known what of that is done, to be done now. Nothing ever after.
  Left takeLeft(const Done& done) KOVA_ON_MUTATION_QUEUE;
  // Nothing of what others have left is to be done.
  void dropLeft() KOVA_ON_MUTATION_QUEUE;
  // What was left has been done, as far as it could be: the next start may try again what comes now.
  void noteThrough() KOVA_ON_MUTATION_QUEUE;
  // Lets go of the file.
  void close() KOVA_ON_MUTATION_QUEUE;

  // kNotNoted when it is in memory only. encode(buffer) adds the arguments.
  template <std::invocable<platform::ByteBuffer&> Encode>
  Number note(Encode encode) {
    const platform::MutexLock lock(mutex_);
    if (!canNote()) return kNotNoted;
    beginCall();
    encode(buffer_);
    return noteBuffer();
  }
  Number note(std::string_view arguments) {
    return note([arguments](platform::ByteBuffer& bytes) { bytes.add(arguments); });
  }
  // The moment of a call that is done much later.
  void noteMoment(Number call, std::string_view moment) KOVA_ON_MUTATION_QUEUE;
  // The session in which calls are done from now on: this process's own, or one of those left.
  void noteSession(std::string session) KOVA_ON_MUTATION_QUEUE;
  void noteLeftSession(Number which, std::string_view session) KOVA_ON_MUTATION_QUEUE;

  // What it did is stored.
  void noteDone(Number call) KOVA_ON_MUTATION_QUEUE;
  // What came of them is in the journal, or nothing came of them. Before the journal lets go of anything,
  // writeDone() must have been called.
  void noteJournaled(std::span<const Number> calls) KOVA_ON_MUTATION_QUEUE;
  void writeDone() KOVA_ON_MUTATION_QUEUE;
  // What has been done, and the file does not say so, because it takes nothing: as long as there are any, the
  // store must name them.
  std::vector<Number> untold() KOVA_ON_MUTATION_QUEUE;

 private:
  // What is to be logged once the mutex is let go: the host's log sink may make calls.
  using Remarks = std::vector<std::string_view>;
  void openFile(const std::string& path, Remarks& remarks) PLATFORM_REQUIRES(mutex_);
  // Those that are to be done; the others are done.
  std::vector<Left::Call> settle(std::vector<Left::Call> found, const Done& done) PLATFORM_REQUIRES(mutex_);
  void leaveOutJournaled() PLATFORM_REQUIRES(mutex_);
  bool canNote() PLATFORM_REQUIRES(mutex_);
  void begin(char kind, Number number) PLATFORM_REQUIRES(mutex_);
  void beginCall() PLATFORM_REQUIRES(mutex_);
  Number noteBuffer() PLATFORM_REQUIRES(mutex_);
  bool append(char kind, Number number, std::string_view bytes) PLATFORM_REQUIRES(mutex_);
  void appendThrough() PLATFORM_REQUIRES(mutex_);
  // What the file does not say yet; what it does not take stays for the next time.
  void tellDone() PLATFORM_REQUIRES(mutex_);
  void appendDone() PLATFORM_REQUIRES(mutex_);
  // Empties the file when nothing in it is still to be done.
  void makeRoom() PLATFORM_REQUIRES(mutex_);
  // From a file that has grown long. No call waits while it is read and written.
  void dropWhatIsDone() KOVA_ON_MUTATION_QUEUE;

  platform::Mutex mutex_;
  std::unique_ptr<platform::RecordFile> file_ PLATFORM_GUARDED_BY(mutex_);  // null without a place to write
  bool isWantTold_ PLATFORM_GUARDED_BY(mutex_) = false;                     // that there is no file
  Left found_ PLATFORM_GUARDED_BY(mutex_);  // until it is known what of it is done
  Number first_ PLATFORM_GUARDED_BY(mutex_) = kNotNoted;
  Number next_ PLATFORM_GUARDED_BY(mutex_) = kNotNoted;
  std::size_t undone_ PLATFORM_GUARDED_BY(mutex_) = 0;
  int tries_ PLATFORM_GUARDED_BY(mutex_) = 0;  // of starts that did not get through what was left
  std::vector<Number> journaled_ PLATFORM_GUARDED_BY(mutex_);  // and nobody has asked to write it
  std::vector<Number> untold_ PLATFORM_GUARDED_BY(mutex_);     // done, and the file does not say so yet
  std::string session_ PLATFORM_GUARDED_BY(mutex_);
  bool isSessionWritten_ PLATFORM_GUARDED_BY(mutex_) = false;
  std::uint64_t longest_ PLATFORM_GUARDED_BY(mutex_) = 0;    // bytes, before it is looked through
  platform::ByteBuffer buffer_ PLATFORM_GUARDED_BY(mutex_);  // of the record that is being written
};
