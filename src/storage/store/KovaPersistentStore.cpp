#include "src/storage/store/KovaPersistentStore.h"

#include <algorithm>
#include <cerrno>
#include <tuple>
#include <utility>
#include <variant>

#include "platform/foundation/Format.h"
#include "platform/foundation/NSJSONSerialization.h"
#include "platform/foundation/NSUUID.h"
#include "src/core/KovaLogger.h"
#include "src/storage/store/PassingFailure.h"

using namespace platform;

namespace {

// Seconds. In a place that is not held, a younger file may be one that another process is about to name.
constexpr double kSettledAfter = 60;

// None unless the data is an array of dictionaries.
std::optional<Array> messagesIn(const std::optional<std::string>& data) {
  const auto object = data ? NSJSONSerialization::JSONObjectWithData(*data) : std::nullopt;
  if (!object || !object->isArray() || object->array().empty()) return std::nullopt;
  const Array& items = object->array();
  const bool areDictionaries =
      std::all_of(items.begin(), items.end(), [](const Value& item) { return item.isDictionary(); });
  return areDictionaries ? std::optional(items) : std::nullopt;
}

}  // namespace

KovaPersistentStore::KovaPersistentStore(std::string_view appId, JSONStore jsonStore)
    : KovaPersistentStore(KIStorePlace(std::string(appId)), jsonStore) {}

KovaPersistentStore::KovaPersistentStore(KIStorePlace place, JSONStore jsonStore)
    : jsonStore_(jsonStore), userDefaults_(NSUserDefaults::standardUserDefaults()), place_(std::move(place)) {
  moveIn();
}

void KovaPersistentStore::moveIn() {
  placeName_ = place_.name();
  if (!hasPlace() || jsonStore_ == JSONStore::Disabled) return;
  const auto url = urlForPlace(placeName_, fileManager_);
  const bool isKept = url && fileManager_.fileExists(url->path()) == FileKind::Directory;
  if (isKept || (jsonStore_ == JSONStore::Enabled && establishDirectoryAtURL(url, fileManager_)))
    cacheUrl_ = url;
}

bool KovaPersistentStore::takePlace() {
  if (hasPlace()) return true;
  place_ = KIStorePlace::take(appId());
  moveIn();
  if (!hasPlace() && !std::exchange(isWantTold_, true))
    KovaLogDebug(
        "Environment %@ has no place to store anything for the moment: as many processes of the app as can run at once, or no descriptor or room on the disk for a lock file. What is recorded is in memory until there is one.",
        appId());
  return hasPlace();
}

std::optional<NSURL> KovaPersistentStore::urlForPlace(std::string_view placeName,
                                                      const NSFileManager& fileManager) {
  const std::string caches = fileManager.directory(SearchPath::Caches);
  if (caches.empty()) return std::nullopt;
  return NSURL::fileURL(caches).appendingPathComponent(formatted("kova-%@", placeName), true);
}

bool KovaPersistentStore::establishDirectoryAtURL(const std::optional<NSURL>& url,
                                                  const NSFileManager& fileManager) {
  if (!url) return false;
  const FileKind kind = fileManager.fileExists(url->path());
  if (kind != FileKind::None) return kind == FileKind::Directory;
  return fileManager.createDirectory(url->path(), true);
}

std::vector<std::string> KovaPersistentStore::pathsOfFiles() const {
  std::vector<std::string> paths = userDefaults_.pathsOfFiles();
  if (cacheUrl_) paths.insert(paths.begin(), cacheUrl_->path());
  return paths;
}

std::string KovaPersistentStore::storageKeyForKey(std::string_view key) const {
  return formatted("kova_%@_%@", placeName_, key);
}

std::string KovaPersistentStore::sharedKeyForKey(std::string_view key) const {
  return formatted("kova_%@_%@", appId(), key);
}

bool KovaPersistentStore::change(std::string key, Change change) {
  if (isErased_ || !hasPlace()) return false;
  if (!*step_) return userDefaults_.setObjects({{std::move(key), std::move(change)}});
  (*step_)->emplace_back(std::move(key), std::move(change));
  return false;
}

bool KovaPersistentStore::setObject(const Value& value, std::string_view key) {
  return change(storageKeyForKey(key), value);
}

void KovaPersistentStore::removeObjectForKey(std::string_view key) {
  change(storageKeyForKey(key), std::nullopt);
}

bool KovaPersistentStore::setSharedObject(const Value& value, std::string_view key) {
  if (!place_.isFirst()) setObject(value, key);
  return change(sharedKeyForKey(key), value);
}

void KovaPersistentStore::reviseSharedDictionary(
    std::string_view key, std::function<Dictionary(std::optional<Dictionary>)> revise) {
  const auto ofValue = [revise = std::move(revise)](const std::optional<Value>& stored) {
    const bool isDictionary = stored && stored->isDictionary();
    return std::optional<Value>(revise(isDictionary ? std::optional(stored->dictionary()) : std::nullopt));
  };
  change(sharedKeyForKey(key), NSUserDefaults::Revision(ofValue));
}

std::optional<std::string> KovaPersistentStore::setSharedTextIfAbsent(const std::string& text,
                                                                      std::string_view key) {
  if (isErased_ || !hasPlace() || !userDefaults_.setObjectIfAbsent(Value(text), sharedKeyForKey(key)))
    return std::nullopt;
  return sharedStringForKey(key);
}

void KovaPersistentStore::removeSharedObjectForKey(std::string_view key) {
  if (!place_.isFirst()) removeObjectForKey(key);
  change(sharedKeyForKey(key), std::nullopt);
}

bool KovaPersistentStore::changeInOneStep(const std::function<void()>& changes) {
  if (isInStep()) {  // part of the step around it
    changes();
    return false;
  }
  step_->emplace();
  try {
    changes();
  } catch (...) {
    step_->reset();
    throw;
  }
  const Step step = std::exchange(*step_, std::nullopt);
  return !isErased_ && hasPlace() && userDefaults_.setObjects(*step);
}

Reading<Dictionary> KovaPersistentStore::dictionaryForKey(std::string_view key) const {
  return read(&NSUserDefaults::dictionaryForKey, storageKeyForKey(key));
}

Reading<Array> KovaPersistentStore::arrayForKey(std::string_view key) const {
  return read(&NSUserDefaults::arrayForKey, storageKeyForKey(key));
}

Reading<std::string> KovaPersistentStore::stringForKey(std::string_view key) const {
  return read(&NSUserDefaults::stringForKey, storageKeyForKey(key));
}

Reading<Dictionary> KovaPersistentStore::sharedDictionaryForKey(std::string_view key) const {
  return userDefaults_.dictionaryForKey(sharedKeyForKey(key));
}

Reading<std::string> KovaPersistentStore::sharedStringForKey(std::string_view key) const {
  return userDefaults_.stringForKey(sharedKeyForKey(key));
}

std::vector<Dictionary> KovaPersistentStore::dictionariesIn(const Array& array) {
  std::vector<Dictionary> items;
  for (const Value& item : array) {
    if (item.isDictionary()) items.push_back(item.dictionary());
  }
  return items;
}

std::vector<String> KovaPersistentStore::stringsIn(const Array& array) {
  std::vector<String> items;
  for (const Value& item : array) {
    if (item.isString()) items.push_back(item.string());
  }
  return items;
}

std::optional<std::string> KovaPersistentStore::saveJSONObjectToDisk(const Value& object) const {
  const auto data = NSJSONSerialization::dataWithJSONObject(object);
  return data ? saveJSONDataToDisk(*data) : std::nullopt;
}

std::optional<std::string> KovaPersistentStore::saveJSONDataToDisk(std::string_view data) const {
  const std::string fileName = NSUUID::UUID().UUIDString();
  const auto path = isErased_ ? std::nullopt : pathOf(fileName);
  if (!path || !fileManager_.createFile(*path, data)) return std::nullopt;
  return fileName;
}

Reading<std::string> KovaPersistentStore::readJSONObjectDataFromDisk(std::string_view fileName) const {
  const auto path = pathOf(fileName);
  if (!path) return std::nullopt;
  std::optional<NSError> failure;
  auto data = fileManager_.contents(*path, &failure);
  if (data || !kova::isPassing(failure->code())) return data;
  if (failure->code() == EIO && hasFailedInEarlierProcess(fileName)) return std::nullopt;
  KovaLogDebug("The message batch %@ cannot be read for the moment and waits for the next upload: %@",
               fileName, failure->localizedDescription());
  return Reading<std::string>::unreadable();
}

bool KovaPersistentStore::hasFailedInEarlierProcess(std::string_view fileName) const {
  if (!failedBefore_) failedBefore_ = stringForKey(kFailedFileKey);
  if (*failedBefore_ == fileName) return true;
  userDefaults_.setObject(fileName, storageKeyForKey(kFailedFileKey));
  return false;
}

void KovaPersistentStore::removeJSONObjectDataFromDisk(std::string_view fileName) const {
  const auto path = pathOf(fileName);
  if (!path || fileManager_.removeItem(*path) || fileManager_.fileExists(*path) == FileKind::None) return;
  fileManager_.createFile(*path, "");  // what was sent must not be found by the next start
}

std::vector<KovaPersistentStore::Leftover> KovaPersistentStore::sweepLeftovers(
    const Names& known, const Names& messageIds) const {
  std::vector<std::pair<NSDate, Leftover>> byDate;
  const auto names = cacheUrl_ ? fileManager_.contentsOfDirectory(cacheUrl_->path()) : std::nullopt;
  for (const std::string& name : names.value_or(std::vector<std::string>())) {
    if (name.ends_with(".partial")) {
      removeJSONObjectDataFromDisk(name);
      continue;
    }
    if (known.contains(name)) continue;
    const auto attributes = fileManager_.attributes(*pathOf(name));
    const auto* facts = std::get_if<FileAttributes>(&attributes);
    if (!facts) continue;
    if (facts->size == 0 && facts->kind == FileKind::File) {
      removeJSONObjectDataFromDisk(name);
      continue;
    }
    if (auto found = leftover(name, facts->secondsSinceModification, messageIds))
      byDate.emplace_back(facts->modificationDate, std::move(*found));
  }
  // The clock that dates files goes by milliseconds, several batches of which can be written in one.
  std::sort(byDate.begin(), byDate.end(), [](const auto& a, const auto& b) {
    return std::tie(a.first, a.second.time) < std::tie(b.first, b.second.time);
  });
  std::vector<Leftover> oldestFirst;
  oldestFirst.reserve(byDate.size());
  for (auto& [date, found] : byDate) oldestFirst.push_back(std::move(found));
  return oldestFirst;
}

std::optional<KovaPersistentStore::Leftover> KovaPersistentStore::leftover(const std::string& fileName,
                                                                           double age,
                                                                           const Names& messageIds) const {
  const std::string path = *pathOf(fileName);
  const bool isSettled = place_.isHeld() || age > kSettledAfter;
  // What could not be removed once it was sent would be sent again at every start.
  if ((!isSettled && messageIds.empty()) || !fileManager_.isDeletableFile(path)) return std::nullopt;
  const auto messages = messagesIn(fileManager_.contents(path));
  if (!messages) return std::nullopt;
  Leftover found{fileName, {}, false, {}};
  if (const Value* time = messages->begin()->dictionary().find("timestamp")) found.time = time->text();
  for (const Value& message : *messages) {
    const Value* id = message.dictionary().find("id");
    const bool isGiven = id && id->isString() && messageIds.contains(id->text());
    isGiven ? void(found.messageIds.emplace(id->text())) : void(found.hasOthers = true);
  }
  return isSettled || !found.messageIds.empty() ? std::optional(std::move(found)) : std::nullopt;
}

std::optional<std::string> KovaPersistentStore::pathOf(std::string_view fileName) const {
  const bool isPath = fileName.find('/') != std::string_view::npos || fileName == "." || fileName == "..";
  if (!cacheUrl_ || fileName.empty() || isPath) return std::nullopt;
  return cacheUrl_->path() + "/" + std::string(fileName);
}

std::vector<std::shared_ptr<KovaPersistentStore>> KovaPersistentStore::storesLeft(int from) const {
  std::vector<std::shared_ptr<KovaPersistentStore>> stores;
  if (!hasPlace() || !place_.mayHaveOthers()) return stores;
  std::vector<KIStorePlace> places = KIStorePlace::takeLeft(appId(), from);
  if (!place_.isFirst()) places.push_back(place_.sharedWithOwner());
  for (KIStorePlace& place : places) {
    kova::mutationQueue.isHere();  // nobody else has it yet
    stores.push_back(std::make_shared<KovaPersistentStore>(std::move(place), JSONStore::Kept));
    stores.back()->step_ = step_;
  }
  return stores;
}

bool KovaPersistentStore::takeFilesOf(const KovaPersistentStore& left,
                                      const std::vector<std::string>& inOrder, const Names& spared) {
  if (!left.cacheUrl_) return true;
  auto names = fileManager_.contentsOfDirectory(left.cacheUrl_->path());
  if (!names || !cacheUrl_) return false;
  const auto placeOf = [&inOrder](const std::string& name) {
    return std::find(inOrder.begin(), inOrder.end(), name);
  };
  std::sort(names->begin(), names->end(),
            [&placeOf](const std::string& a, const std::string& b) { return placeOf(a) < placeOf(b); });
  return std::all_of(names->begin(), names->end(), [&](const std::string& name) {
    return spared.contains(name) || fileManager_.moveItem(*left.pathOf(name), *pathOf(name));
  });
}
