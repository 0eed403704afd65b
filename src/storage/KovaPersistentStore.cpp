#include "src/storage/KovaPersistentStore.h"

#include <utility>

#include "platform/foundation/Format.h"
#include "platform/foundation/NSJSONSerialization.h"
#include "platform/foundation/NSUUID.h"

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
  if (!step_) return userDefaults_.setObject(value, storageKeyForKey(key));
  step_->emplace_back(storageKeyForKey(key), value);
  return true;
}

void KovaPersistentStore::removeObjectForKey(std::string_view key) {
  if (!step_) return userDefaults_.removeObjectForKey(storageKeyForKey(key));
  step_->emplace_back(storageKeyForKey(key), std::nullopt);
}

void KovaPersistentStore::changeInOneStep(const std::function<void()>& changes) {
  if (step_) return changes();  // part of the step around it
  step_.emplace();
  try {
    changes();
  } catch (...) {
    step_.reset();
    throw;
  }
  userDefaults_.setObjects(*std::exchange(step_, std::nullopt));
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
  const std::string fileName = NSUUID::UUID().UUIDString();
  const auto path = pathOf(fileName);
  const auto data = path ? NSJSONSerialization::dataWithJSONObject(object) : std::nullopt;
  if (!data || !fileManager_.createFile(*path, *data)) return std::nullopt;
  return fileName;
}

std::optional<std::string> KovaPersistentStore::readJSONObjectDataFromDisk(std::string_view fileName) const {
  const auto path = pathOf(fileName);
  return path ? fileManager_.contents(*path) : std::nullopt;
}

void KovaPersistentStore::removeJSONObjectDataFromDisk(std::string_view fileName) const {
  if (const auto path = pathOf(fileName)) fileManager_.removeItem(*path);
}

std::optional<std::string> KovaPersistentStore::pathOf(std::string_view fileName) const {
  const bool isPath = fileName.find('/') != std::string_view::npos || fileName == "." || fileName == "..";
  if (!cacheUrl_ || fileName.empty() || isPath) return std::nullopt;
  return cacheUrl_->path() + "/" + std::string(fileName);
}
