#include "src/storage/KovaPersistentStore.h"

#include "platform/foundation/Format.h"
#include "platform/foundation/NSJSONSerialization.h"
#include "platform/foundation/NSUUID.h"
#include "platform/foundation/NSUserDefaults.h"

using namespace platform;

namespace {

bool establishDirectory(const std::string& path, const NSFileManager& files) {
  const FileKind kind = files.fileExists(path);
  if (kind != FileKind::None) return kind == FileKind::Directory;
  return files.createDirectory(path, true);
}

}  // namespace

KovaPersistentStore::KovaPersistentStore(std::string_view appId, JSONStore jsonStore)
    : appId_(appId),
      userDefaults_(NSUserDefaults::standardUserDefaults()),
      cachePath_(jsonStore == JSONStore::Enabled ? establishedCachePath(appId, fileManager_) : std::nullopt) {
}

std::optional<std::string> KovaPersistentStore::establishedCachePath(std::string_view appId,
                                                                     const NSFileManager& files) {
  const std::string caches = files.directory(SearchPath::Caches);
  if (caches.empty()) return std::nullopt;
  const std::string path = formatted("%@/kova-%@", caches, appId);
  if (!establishDirectory(path, files)) return std::nullopt;
  return path;
}

std::string KovaPersistentStore::storageKeyForKey(std::string_view key) const {
  return formatted("kova_%@_%@", appId_, key);
}

bool KovaPersistentStore::setObject(const Value& value, std::string_view key) {
  return userDefaults_.setObject(value, storageKeyForKey(key));
}

void KovaPersistentStore::removeObjectForKey(std::string_view key) {
  userDefaults_.removeObjectForKey(storageKeyForKey(key));
}

std::optional<Dictionary> KovaPersistentStore::dictionaryForKey(std::string_view key) const {
  return userDefaults_.dictionaryForKey(storageKeyForKey(key));
}

std::optional<Array> KovaPersistentStore::arrayForKey(std::string_view key) const {
  return userDefaults_.arrayForKey(storageKeyForKey(key));
}

std::optional<std::string> KovaPersistentStore::stringForKey(std::string_view key) const {
  return userDefaults_.stringForKey(storageKeyForKey(key));
}

std::vector<Dictionary> KovaPersistentStore::arrayOfDictionaries(std::string_view key) const {
  std::vector<Dictionary> items;
  for (const Value& item : arrayForKey(key).value_or(Array())) {
    if (item.isDictionary()) items.push_back(item.dictionary());
  }
  return items;
}

std::vector<String> KovaPersistentStore::arrayOfStrings(std::string_view key) const {
  std::vector<String> items;
  for (const Value& item : arrayForKey(key).value_or(Array())) {
    if (item.isString()) items.push_back(item.string());
  }
  return items;
}

std::optional<std::string> KovaPersistentStore::saveJSONObjectToDisk(const Value& object) const {
  if (!cachePath_) return std::nullopt;
  const auto data = NSJSONSerialization::dataWithJSONObject(object);
  if (!data) return std::nullopt;
  const std::string fileName = NSUUID::UUID().UUIDString();
  if (!fileManager_.createFile(pathOf(fileName), *data)) return std::nullopt;
  return fileName;
}

std::optional<std::string> KovaPersistentStore::readJSONObjectDataFromDisk(std::string_view fileName) const {
  if (!cachePath_) return std::nullopt;
  return fileManager_.contents(pathOf(fileName));
}

void KovaPersistentStore::removeJSONObjectDataFromDisk(std::string_view fileName) const {
  if (!cachePath_ || fileName.empty()) return;
  fileManager_.removeItem(pathOf(fileName));
}

std::string KovaPersistentStore::pathOf(std::string_view fileName) const {
  return *cachePath_ + "/" + std::string(fileName);
}
