#include "src/storage/KIJournal.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "platform/foundation/Format.h"
#include "platform/foundation/NSFileManager.h"
#include "platform/foundation/NSJSONSerialization.h"
#include "src/core/KovaLogger.h"
#include "src/storage/store/KovaPersistentStore.h"

using namespace platform;

namespace {

constexpr std::string_view kNumberKey = "journalNumber";
constexpr char kNumberMark = '#';  // begins a record that is a number; messages begin with a brace

std::uint64_t numberIn(std::string_view text) {
  std::uint64_t number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

}  // namespace

std::string KIJournal::pathFor(const KovaPersistentStore& store) {
  const std::string folder = NSFileManager().directory(SearchPath::ApplicationSupport);
  return folder.empty() ? "" : folder + formatted("/kova-%@.journal", store.appId());
}

std::optional<std::vector<MutableDictionary>> KIJournal::open() {
  const auto stored = store_.stringForKey(kNumberKey);
  if (stored.isUnreadable()) return std::nullopt;
  number_ = stored ? numberIn(*stored) : 0;
  std::vector<MutableDictionary> messages;
  const std::string path = pathFor(store_);
  if (path.empty()) return messages;
  NSFileManager().createDirectory(NSFileManager().directory(SearchPath::ApplicationSupport), true);
  file_ = RecordFile::open(path);
  if (!file_) tellOnce("cannot be had: what is recorded is in memory until it is stored");
  if (!file_) return messages;
  if (file_->hadForeignEnd()) tellOnce("ends in what was not written whole, which is left out");

  bool isTakenOver = number_ > 0;
  for (const std::string& record : file_->takeRecords()) {
    if (record.front() == kNumberMark) {
      const std::uint64_t number = numberIn(std::string_view(record).substr(1));
      isTakenOver = isTakenOver && number < number_;
      number_ = std::max(number_, number);
      continue;
    }
    const auto message = isTakenOver ? std::nullopt : NSJSONSerialization::JSONObjectWithData(record);
    if (message && message->isDictionary()) messages.emplace_back(message->dictionary());
  }
  isNumberWritten_ = !isTakenOver;
  hasKept_ = !messages.empty();
  return messages;
}

bool KIJournal::writeNumber() { return file_->append(kNumberMark + std::to_string(number_)); }

void KIJournal::keep(std::string_view message) {
  if (!file_) return;
  if (!isNumberWritten_) isNumberWritten_ = writeNumber();
  const bool isKept = isNumberWritten_ && file_->append(message);
  hasKept_ = hasKept_ || isKept;
  if (!isKept) tellOnce("cannot be written: what is recorded is in memory until it is stored");
}

void KIJournal::rewrite(const std::vector<std::string>& messages) {
  if (!file_) return;
  std::vector<std::string> records{kNumberMark + std::to_string(number_)};
  records.insert(records.end(), messages.begin(), messages.end());
  if (!file_->replaceAll(records)) return;
  isNumberWritten_ = true;
  hasKept_ = !messages.empty();
}

void KIJournal::noteTakenOver() {
  if (!file_ || !hasKept_) return;
  ++number_;
  isNumberWritten_ = writeNumber();
  if (isNumberWritten_) store_.setObject(std::to_string(number_), kNumberKey);
}

void KIJournal::forgetTakenOver() {
  if (!file_ || !hasKept_ || !file_->clear()) return;
  isNumberWritten_ = false;
  hasKept_ = false;
}

void KIJournal::clearFor(const KovaPersistentStore& store) {
  const std::string path = pathFor(store);
  if (path.empty() || NSFileManager().fileExists(path) == FileKind::None) return;
  if (const auto file = RecordFile::open(path)) file->clear();
}

void KIJournal::removeFor(KovaPersistentStore& store) {
  store.removeObjectForKey(kNumberKey);
  if (!existsFor(store)) return;
  if (const auto file = RecordFile::open(pathFor(store))) NSFileManager().removeItem(pathFor(store));
}

bool KIJournal::existsFor(const KovaPersistentStore& store) {
  const std::string path = pathFor(store);
  return !path.empty() && NSFileManager().fileExists(path) != FileKind::None;
}

void KIJournal::tellOnce(std::string_view what) {
  if (std::exchange(isTold_, true)) return;
  KovaLogDebug("The journal of environment %@ %@.", store_.appId(), what);
}
