#include "src/storage/KovaPersistentStore.h"

#include "platform/foundation/Format.h"
#include "platform/foundation/NSJSONSerialization.h"
#include "platform/foundation/NSUUID.h"
#include "platform/foundation/NSUserDefaults.h"

using namespace platform;

KovaPersistentStore::KovaPersistentStore(std::string_view appId, JSONStore jsonStore)
    : appId_(appId),
      userDefaults_(NSUserDefaults::standardUserDefaults()),
      cacheUrl_(jsonStore == JSONStore::Enabled ? cacheUrlForAppId(appId, fileManager_) : std::nullopt) {}

std::optional<NSURL> KovaPersistentStore::cacheUrlForAppId(std::string_view appId,
                                                           const NSFileManager& fileManager) {
  const std::string caches = fileManager.directory(SearchPath::Caches);
  if (caches.empty()) return std::nullopt;
  const NSURL url = NSURL::fileURL(caches).appendingPathComponent(formatted("kova-%@", appId), true);
  return establishDirectoryAtURL(url, fileManager) ? std::optional(url) : std::nullopt;
}

bool KovaPersistentStore::establishDirectoryAtURL(const std::optional<NSURL>& url,
                                                  const NSFileManager& fileManager) {
  if (!url) return false;
  const FileKind kind = fileManager.fileExists(url->path());
  if (kind != FileKind::None) return kind == FileKind::Directory;
  return fileManager.createDirectory(url->path(), true);
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
  if (!cacheUrl_) return std::nullopt;
  const auto data = NSJSONSerialization::dataWithJSONObject(object);
  if (!data) return std::nullopt;
  const std::string fileName = NSUUID::UUID().UUIDString();
  if (!fileManager_.createFile(pathOf(fileName), *data)) return std::nullopt;
  return fileName;
}

std::optional<std::string> KovaPersistentStore::readJSONObjectDataFromDisk(std::string_view fileName) const {
  if (!cacheUrl_) return std::nullopt;
  return fileManager_.contents(pathOf(fileName));
}

void KovaPersistentStore::removeJSONObjectDataFromDisk(std::string_view fileName) const {
  if (!cacheUrl_ || fileName.empty()) return;
  fileManager_.removeItem(pathOf(fileName));
}

std::string KovaPersistentStore::pathOf(std::string_view fileName) const {
  return cacheUrl_->path() + "/" + std::string(fileName);
}
