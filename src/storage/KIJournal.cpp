#include "src/storage/KIJournal.h"

#include <cstdint>
#include <cstdlib>
#include <map>
#include <optional>
#include <utility>

#include "platform/foundation/Format.h"
#include "platform/foundation/NSFileManager.h"
#include "platform/foundation/NSJSONSerialization.h"
#include "src/core/KovaLogger.h"
#include "src/storage/store/KovaPersistentStore.h"

using namespace platform;

namespace {

constexpr std::string_view kGenerationKey = "journalGeneration";
constexpr std::string_view kIdKey = "id";

std::string idOf(const Dictionary& message) {
  const Value* id = message.find(kIdKey);
  return id ? std::string(id->text()) : "";
}

// Of the messages with one id the last, in the place of the first.
std::vector<MutableDictionary> messagesIn(const std::vector<std::string>& records) {
  std::vector<MutableDictionary> messages;
  std::map<std::string, std::size_t> places;
  for (const std::string& record : records) {
    const auto message = NSJSONSerialization::JSONObjectWithData(record);
    if (!message || !message->isDictionary()) continue;
    const std::string id = idOf(message->dictionary());
    const auto place = id.empty() ? places.end() : places.find(id);
    if (place != places.end()) {
      messages[place->second] = MutableDictionary(message->dictionary());
      continue;
    }
    if (!id.empty()) places[id] = messages.size();
    messages.emplace_back(message->dictionary());
  }
  return messages;
}

}  // namespace

std::string KIJournal::pathFor(const KovaPersistentStore& store) {
  const std::string folder = NSFileManager().directory(SearchPath::ApplicationSupport);
  return folder.empty() ? "" : folder + formatted("/kova-%@.journal", store.appId());
}

std::vector<MutableDictionary> KIJournal::open() {
  const std::string path = pathFor(store_);
  if (path.empty()) return {};
  NSFileManager().createDirectory(NSFileManager().directory(SearchPath::ApplicationSupport), true);
  file_ = RecordFile::open(path);
  if (!file_) {
    tellOnce("cannot be had: what is recorded is in memory until it is stored");
    return {};
  }
  const auto records = file_->takeRecords();
  if (file_->hadForeignEnd()) tellOnce("ends in what was not written whole, which is left out");
  const auto takenOver = store_.stringForKey(kGenerationKey);
  const std::uint64_t generation = takenOver ? std::strtoull(takenOver->c_str(), nullptr, 10) : 0;
  if (file_->generation() >= generation) return messagesIn(records);
  file_->restart(generation);
  return {};
}

void KIJournal::keep(std::string_view message) {
  if (file_ && !file_->append(message))
    tellOnce("cannot be written: what is recorded is in memory until it is stored");
}

void KIJournal::rewrite(const std::vector<std::string>& messages) {
  if (!file_ || !file_->restart(file_->generation())) return;
  for (const std::string& message : messages) keep(message);
}

void KIJournal::noteTakenOver() {
  if (!file_ || file_->isEmpty()) return;
  store_.setObject(std::to_string(file_->generation() + 1), kGenerationKey);
}

void KIJournal::beginAnew() {
  if (file_ && !file_->isEmpty()) file_->restart(file_->generation() + 1);
}

void KIJournal::removeFor(const KovaPersistentStore& store) {
  if (const std::string path = pathFor(store); !path.empty()) NSFileManager().removeItem(path);
}

void KIJournal::tellOnce(std::string_view what) {
  if (std::exchange(isTold_, true)) return;
  KovaLogDebug("The journal of environment %@ %@.", store_.appId(), what);
}
