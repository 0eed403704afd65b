#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "platform/foundation/NSFileManager.h"
#include "platform/foundation/NSURL.h"
#include "platform/foundation/NSUserDefaults.h"
#include "platform/foundation/Reading.h"
#include "platform/foundation/Value.h"
#include "src/core/Threads.h"
#include "src/storage/store/KIStorePlace.h"

// The state of one environment id across launches: values in the user defaults under "kova_<id>_<key>", and
// the message arrays of batches as JSON files in the directory "kova-<id>" of the caches directory.
//
// Made by the tracker and shared with the identity and the queue manager, which may outlive it while a
// request is in flight. While nothing runs on the mutation queue, the tracker uses it at its start, too. No
// locks. No operation reports an error: when files cannot be had, batches keep their messages inline.
class KovaPersistentStore {
 public:
  // Kept: enabled where its directory is there; none is made.
  enum class JSONStore { Enabled, Disabled, Kept };

  // In the first place, without holding it.
  explicit KovaPersistentStore(std::string_view appId, JSONStore jsonStore = JSONStore::Enabled);
  explicit KovaPersistentStore(KIStorePlace place, JSONStore jsonStore = JSONStore::Enabled);

  // The store of the environment id: the one that is in use, else a new one in a place that it holds, which
  // is held back.
  static std::shared_ptr<KovaPersistentStore> forAppId(const std::string& appId) KOVA_ON_MAIN_THREAD;

  const std::string& appId() const { return place_.appId(); }
  // What its keys and files are named after.
  const std::string& placeName() const { return placeName_; }
  const KIStorePlace& place() const { return place_; }
  // One that was made without a place, because none could be told then, is unreadable but for what all
  // processes share, and stores nothing until it has taken one.
  bool hasPlace() const { return place_.isKnown(); }
  bool takePlace() KOVA_ON_MUTATION_QUEUE;
  // As long as it is held back, nobody takes up the user and the queues in it: what ended processes have left
  // undone comes first.
  bool isHeldBack() const KOVA_ON_MUTATION_QUEUE { return isHeldBack_; }
  void letIn() KOVA_ON_MUTATION_QUEUE { isHeldBack_ = false; }
  // Those of processes that have ended, each in the place that it had: they are held as long as they live,
  // and a step of this store is theirs, too. From a number on, see KIStorePlace. Also this one's own, when
  // its place is a further one, with what was left there.
  std::vector<std::shared_ptr<KovaPersistentStore>> storesLeft(int from = KIStorePlace::kFirstFurther) const;

  // The directory of the batch files; none when it is disabled or cannot be made.
  const std::optional<platform::NSURL>& cacheUrl() const { return cacheUrl_; }
  // Where it is to be; none without a caches directory.
  static std::optional<platform::NSURL> urlForPlace(std::string_view placeName,
                                                    const platform::NSFileManager& fileManager);
  // Whether a directory stands at the URL when this returns.
  static bool establishDirectoryAtURL(const std::optional<platform::NSURL>& url,
                                      const platform::NSFileManager& fileManager);
  // Of everything in it.
  std::vector<std::string> pathsOfFiles() const;
  std::string storageKeyForKey(std::string_view key) const;

  // Whether it is stored. If not, it can still be read in this process, and is tried again with later ones.
  bool setObject(const platform::Value& value, std::string_view key) KOVA_ON_MUTATION_QUEUE;
  void removeObjectForKey(std::string_view key) KOVA_ON_MUTATION_QUEUE;
  // What all processes of the app share stands in the first place, with a copy in that of each further
  // process. These change both, and read the first.
  bool setSharedObject(const platform::Value& value, std::string_view key) KOVA_ON_MUTATION_QUEUE;
  // Makes what is shared anew of what is stored when this reaches the store, of none if nothing is: other
  // processes change it, too. The copy stays as it is.
  void reviseSharedDictionary(std::string_view key,
                              std::function<platform::Dictionary(std::optional<platform::Dictionary>)> revise)
      KOVA_ON_MUTATION_QUEUE;
  // Unless there is one; in any case the one that is stored then, or none when that cannot be told.
  std::optional<std::string> setSharedTextIfAbsent(const std::string& text,
                                                   std::string_view key) KOVA_ON_MUTATION_QUEUE;
  void removeSharedObjectForKey(std::string_view key) KOVA_ON_MUTATION_QUEUE;
  platform::Reading<platform::Dictionary> sharedDictionaryForKey(std::string_view key) const
      KOVA_ON_MUTATION_QUEUE;
  platform::Reading<std::string> sharedStringForKey(std::string_view key) const KOVA_ON_MUTATION_QUEUE;

  // What `changes` sets and removes reaches the store in one step when it returns: all of it or nothing,
  // whenever the process ends, and nothing when it throws. Meanwhile setObject answers false, since nothing
  // is stored yet, and reads find what was there before. Answers as setObject does.
  bool changeInOneStep(const std::function<void()>& changes) KOVA_ON_MUTATION_QUEUE;
  // Whether everything that was set is stored; what is not is tried again. Not within a step.
  bool isAllStored() const KOVA_ON_MUTATION_QUEUE {
    return hasPlace() && !isInStep() && userDefaults_.synchronize();
  }
  // Whether the caller runs within such a step.
  bool isInStep() const KOVA_ON_MUTATION_QUEUE { return step_->has_value(); }
  // None for a stored value of another kind; a stored number answers as a string with its text. Unreadable
  // when it cannot be told for the moment whether something is stored.
  platform::Reading<platform::Dictionary> dictionaryForKey(std::string_view key) const KOVA_ON_MUTATION_QUEUE;
  platform::Reading<platform::Array> arrayForKey(std::string_view key) const KOVA_ON_MUTATION_QUEUE;
  platform::Reading<std::string> stringForKey(std::string_view key) const KOVA_ON_MUTATION_QUEUE;
  // The array's items that are dictionaries, or strings, the others left out.
  static std::vector<platform::Dictionary> dictionariesIn(const platform::Array& array);
  static std::vector<platform::String> stringsIn(const platform::Array& array);

  using Names = std::set<std::string, std::less<>>;
  // Resets everything, the identity included, when the stored queues have grown past these bounds. Called
  // before anything is loaded; the files spared are those that this process has made by then. Whether it did.
  bool purgeInvalidStoresWithQueuedUrlLimit(std::size_t queuedUrlLimit, std::size_t queuedEventLimit,
                                            std::size_t queuedMessageBatchLimit,
                                            const Names& spared = {}) KOVA_ON_MUTATION_QUEUE;
  void clear(const Names& spared = {}) KOVA_ON_MUTATION_QUEUE;
  // Clears it, its directory too, for good: nothing is stored any more by those who still hold it. Answers
  // whether nothing is left.
  bool erase() KOVA_ON_MUTATION_QUEUE;
  // The same for all processes of the app, but for what one that still runs has queued; it keeps the answer
  // from being yes.
  bool eraseForAll() KOVA_ON_MUTATION_QUEUE;
  // Batch files of the store left, but for those spared, come to this one: those in order first, so that a
  // process that ends meanwhile has moved the oldest. Whether all of them have.
  bool takeFilesOf(const KovaPersistentStore& left, const std::vector<std::string>& inOrder,
                   const Names& spared) KOVA_ON_MUTATION_QUEUE;

  // The name of the new file; none when there is no directory, the object is not valid JSON or the write
  // fails.
  std::optional<std::string> saveJSONObjectToDisk(const platform::Value& object) const KOVA_ON_MUTATION_QUEUE;
  // The same for what is JSON already.
  std::optional<std::string> saveJSONDataToDisk(std::string_view data) const KOVA_ON_MUTATION_QUEUE;
  // A name that leads out of the directory names no file. Unreadable, with a line of debug log, is what a
  // later try may read; a disk error is that once, and "none" when an earlier process has met it already.
  platform::Reading<std::string> readJSONObjectDataFromDisk(std::string_view fileName) const
      KOVA_ON_MUTATION_QUEUE;
  void removeJSONObjectDataFromDisk(std::string_view fileName) const KOVA_ON_MUTATION_QUEUE;
  // Removes what a killed process has half written, and answers, oldest first, which other files than the
  // known ones it has left behind: arrays of dictionaries, with those of the given ids that they hold. In a
  // place that is not held, those that nobody has touched for a minute, or that hold such messages.
  struct Leftover {
    std::string fileName;
    Names messageIds;  // of those given
    bool hasOthers;    // messages than those
    std::string time;  // of the first message, in milliseconds
  };
  std::vector<Leftover> sweepLeftovers(const Names& known,
                                       const Names& messageIds) const KOVA_ON_MUTATION_QUEUE;

 private:
  static constexpr const char* kFailedFileKey = "unreadableBatchFile";

  // None for what is no leftover.
  std::optional<Leftover> leftover(const std::string& fileName, double age,
                                   const Names& messageIds) const KOVA_ON_MUTATION_QUEUE;
  // None without a directory, or for a name that is no file's in it.
  std::optional<std::string> pathOf(std::string_view fileName) const;
  bool hasFailedInEarlierProcess(std::string_view fileName) const KOVA_ON_MUTATION_QUEUE;

  void moveIn();
  std::string sharedKeyForKey(std::string_view key) const;
  template <class T>
  platform::Reading<T> read(platform::Reading<T> (platform::NSUserDefaults::*valueForKey)(std::string_view),
                            const std::string& key) const {
    return hasPlace() ? (userDefaults_.*valueForKey)(key) : platform::Reading<T>::unreadable();
  }
  using Change = platform::NSUserDefaults::Changes::value_type::second_type;
  bool change(std::string key, Change change) KOVA_ON_MUTATION_QUEUE;

  const JSONStore jsonStore_;
  platform::NSUserDefaults& userDefaults_;
  const platform::NSFileManager fileManager_{};
  // These change once, when the place is taken.
  KIStorePlace place_;
  std::string placeName_;
  std::optional<platform::NSURL> cacheUrl_;
  bool isErased_ KOVA_OF_MUTATION_QUEUE = false;
  bool isHeldBack_ KOVA_OF_MUTATION_QUEUE = false;
  bool isWantTold_ KOVA_OF_MUTATION_QUEUE = false;                // that there is no place
  using Step = std::optional<platform::NSUserDefaults::Changes>;  // none but while one is being made
  std::shared_ptr<Step> step_ KOVA_OF_MUTATION_QUEUE = std::make_shared<Step>();
  // The file that gave an earlier process a disk error; asked for at the first such error of this one.
  mutable std::optional<platform::Reading<std::string>> failedBefore_ KOVA_OF_MUTATION_QUEUE;
};
