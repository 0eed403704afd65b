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
// What a record begins with; a message begins with a brace.
constexpr char kNumberMark = '#';  // a number, and nothing else
constexpr char kCallMark = '@';    // the number of a call, ahead of its message

constexpr std::uint64_t kLong = 256 << 10;  // bytes: some hundred messages

// Takes the numbers off that stand ahead of the message.
void takeCalls(std::string_view& record, KICallLog::Numbers& calls) {
  while (!record.empty() && record.front() == kCallMark) {
    KICallLog::Number number = 0;
    const char* const end = std::from_chars(record.data() + 1, record.data() + record.size(), number).ptr;
    record.remove_prefix(static_cast<std::size_t>(end - record.data()));
    calls.insert(number);
  }
}

std::uint64_t numberIn(std::string_view text) {
  std::uint64_t number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

}  // namespace

std::string KIJournal::pathFor(const KovaPersistentStore& store) {
  const std::string folder = NSFileManager().directory(SearchPath::ApplicationSupport);
  return folder.empty() ? "" : folder + formatted("/kova-%@.journal", store.placeName());
}

std::string KIJournal::pathOfCallsFor(const KovaPersistentStore& store) {
  const std::string path = pathFor(store);
  return path.empty() ? path : path.substr(0, path.rfind('.')) + ".calls";
}

std::string KIJournal::pathOfCallsIn(const KovaPersistentStore& store) {
  const std::string folder = NSFileManager().directory(SearchPath::ApplicationSupport);
  if (!folder.empty()) NSFileManager().createDirectory(folder, true);
  return pathOfCallsFor(store);
}

std::vector<std::string> KIJournal::pathsFor(const KovaPersistentStore& store) {
  return {pathFor(store), pathOfCallsFor(store)};
}

std::optional<KIJournal::Contents> KIJournal::open() {
  const auto stored = store_.stringForKey(kNumberKey);
  if (stored.isUnreadable()) return std::nullopt;
  number_ = stored ? numberIn(*stored) : 0;
  Contents contents;
  const std::string path = pathFor(store_);
  if (path.empty()) return contents;
  file_ = RecordFile::open(path);
  if (!file_) tellOnce("cannot be had: what is recorded is in memory until it is stored");
  if (!file_) return contents;
  if (file_->hadForeignEnd()) tellOnce("ends in what was not written whole, which is left out");

  bool isTakenOver = number_ > 0;
  for (const std::string& whole : file_->takeRecords()) {
    std::string_view record = whole;
    if (record.front() == kNumberMark) {
      const std::uint64_t number = numberIn(record.substr(1));
      isTakenOver = isTakenOver && number < number_;
      number_ = std::max(number_, number);
      continue;
    }
    takeCalls(record, contents.calls);
    const auto message = isTakenOver ? std::nullopt : NSJSONSerialization::JSONObjectWithData(record);
    if (!message || !message->isDictionary()) continue;
    contents.messages.emplace_back(message->dictionary());
    contents.texts.emplace_back(record);
  }
  isNumberWritten_ = !isTakenOver;
  hasKept_ = !contents.messages.empty();
  isDue_ = !hasKept_;
  return contents;
}

bool KIJournal::isLong() const { return file_ && file_->size() > kLong; }

bool KIJournal::writeNumber() { return file_->append(kNumberMark + std::to_string(number_)); }

bool KIJournal::keep(std::string_view message, std::span<const KICallLog::Number> calls) {
  if (!file_) return false;
  if (!isNumberWritten_) isNumberWritten_ = writeNumber();
  std::string record;
  for (const KICallLog::Number call : calls) record += kCallMark + std::to_string(call);
  const bool isKept = isNumberWritten_ && file_->append(record.empty() ? message : record.append(message));
  hasKept_ = hasKept_ || isKept;
  if (!isKept) tellOnce("cannot be written: what is recorded is in memory until it is stored");
  return isKept;
}

void KIJournal::rewrite(const std::vector<std::string>& messages) {
  if (!file_) return;
  std::vector<std::string> records{kNumberMark + std::to_string(number_)};
  records.insert(records.end(), messages.begin(), messages.end());
  if (!file_->replaceAll(records)) return;
  isNumberWritten_ = true;
  hasKept_ = !messages.empty();
  isDue_ = false;
}

void KIJournal::noteTakenOver() {
  if (!file_ || !hasKept_) return;
  ++number_;
  isNumberWritten_ = writeNumber();
  if (isNumberWritten_) store_.setObject(std::to_string(number_), kNumberKey);
}

void KIJournal::forgetTakenOver() {
  if (!file_ || !hasKept_) return;
  hasKept_ = false;
  isDue_ = true;
  if (!isNumberWritten_ || isLong()) empty();
}

void KIJournal::noteOnDisk(std::uint64_t number) {
  if (file_ && isDue_ && !hasKept_ && number == number_) empty();
}

void KIJournal::empty() {
  if (!file_->clear()) return;
  isNumberWritten_ = false;
  isDue_ = false;
}

void KIJournal::clearFor(const KovaPersistentStore& store) {
  for (const std::string& path : pathsFor(store)) {
    if (path.empty() || NSFileManager().fileExists(path) == FileKind::None) continue;
    RecordFile::clearAt(path);
  }
}

void KIJournal::removeFor(KovaPersistentStore& store) {
  store.removeObjectForKey(kNumberKey);
  for (const std::string& path : pathsFor(store)) {
    if (path.empty() || NSFileManager().fileExists(path) == FileKind::None) continue;
    RecordFile::removeAt(path);
  }
}

bool KIJournal::existsFor(const KovaPersistentStore& store) {
  const auto paths = pathsFor(store);
  return std::any_of(paths.begin(), paths.end(), [](const std::string& path) {
    return !path.empty() && NSFileManager().fileExists(path) != FileKind::None;
  });
}

std::uint64_t KIJournal::sizeFor(const KovaPersistentStore& store) {
  std::uint64_t size = 0;
  for (const std::string& path : pathsFor(store)) {
    if (!path.empty()) size += RecordFile::sizeAt(path);
  }
  return size;
}

void KIJournal::tellOnce(std::string_view what) {
  if (std::exchange(isTold_, true)) return;
  KovaLogDebug("The journal of environment %@ %@.", store_.appId(), what);
}
