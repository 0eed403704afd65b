#include "src/storage/KICallLog.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <map>
#include <utility>

#include "platform/dispatch/Scheduler.h"
#include "src/core/KovaLogger.h"

using namespace platform;

namespace {

// A record begins with what it is and a number.
constexpr char kCall = 'C';
constexpr char kMoment = 'M';
constexpr char kSession = 'S';
constexpr char kDone = '=';     // the calls from the number on, to another one
constexpr char kTried = 'T';    // a start begins with what was left undone
constexpr char kThrough = '-';  // and has got through, or given up
constexpr std::size_t kHeadLength = 1 + sizeof(KICallLog::Number);

constexpr std::uint64_t kRoomy = 64 << 10;      // bytes; a shorter file is not emptied
constexpr std::uint64_t kWorthALook = 1 << 20;  // bytes
constexpr std::uint64_t kLongest = 16 << 20;    // bytes; calls that still wait have no room beyond
constexpr int kMostTries = 3;                   // a call that ends the process must not end each one

KICallLog::Number numberAt(std::string_view bytes) {
  KICallLog::Number number = 0;
  std::memcpy(&number, bytes.data(), std::min(bytes.size(), sizeof number));
  return number;
}

// What a file says.
struct Contents {
  explicit Contents(const std::vector<std::string>& records);

  KICallLog::Number sessionOf(KICallLog::Number call) const;

  std::map<KICallLog::Number, KICallLog::Left::Call> undone;
  std::map<KICallLog::Number, std::string> sessions;
  KICallLog::Number last = KICallLog::kNotNoted;
  int tries = 0;
};

Contents::Contents(const std::vector<std::string>& records) {
  for (const std::string& record : records) {
    if (record.size() < kHeadLength) continue;
    const KICallLog::Number number = numberAt(std::string_view(record).substr(1));
    const std::string_view rest = std::string_view(record).substr(kHeadLength);
    last = std::max(last, number);
    if (record[0] == kCall) undone[number] = {number, std::string(rest), {}, {}};
    if (record[0] == kSession) sessions[number] = rest;
    if (record[0] == kTried) ++tries;
    if (record[0] == kThrough) tries = 0;
    if (const auto call = undone.find(number); record[0] == kMoment && call != undone.end())
      call->second.moment = rest;
    if (record[0] == kDone && number <= numberAt(rest))
      undone.erase(undone.lower_bound(number), undone.upper_bound(numberAt(rest)));
  }
  for (auto& [number, call] : undone) call.session = sessionOf(number);
}

// That of the process whose calls begin there, or before.
KICallLog::Number Contents::sessionOf(KICallLog::Number call) const {
  const auto next = sessions.upper_bound(call);
  return next == sessions.begin() ? KICallLog::kNotNoted : std::prev(next)->first;
}

std::string recordOf(char kind, KICallLog::Number number, std::string_view bytes) {
  std::string record(1, kind);
  record.append(reinterpret_cast<const char*>(&number), sizeof number);
  record += bytes;
  return record;
}

// None has had it before: also when an earlier file was lost, or its newest records, or when those that are
// done have been dropped from it. Should the clock have been set back as well, see takeLeft().
KICallLog::Number freshNumber(KICallLog::Number last) {
  const double now = Scheduler::current().now().timeIntervalSince1970();
  return std::max(last + 1, static_cast<KICallLog::Number>(now * 1e6));
}

}  // namespace

void KICallLog::open(const std::string& path) {
  Remarks remarks;
  MutexLock lock(mutex_);
  if (!file_) openFile(path, remarks);
  lock.unlock();
  for (const std::string_view remark : remarks) KovaLogDebug("%@", remark);
}

void KICallLog::openFile(const std::string& path, Remarks& remarks) {
  file_ = RecordFile::open(path);
  if (!file_ && !std::exchange(isWantTold_, true))
    remarks.emplace_back("Calls have no file: until they are done, they are in memory only.");
  if (!file_) return;
  if (file_->hadForeignEnd())
    remarks.emplace_back("The calls end in what was not written whole, which is left out.");
  Contents contents(file_->takeRecords());
  first_ = next_ = freshNumber(contents.last);
  undone_ = contents.undone.size();
  tries_ = contents.tries;
  longest_ = kWorthALook;
  found_.sessions = std::move(contents.sessions);
  for (auto& [number, call] : contents.undone) found_.calls.push_back(std::move(call));
}

KICallLog::Left KICallLog::takeLeft(const Done& done) {
  MutexLock lock(mutex_);
  Left left = std::exchange(found_, {});
  if (!file_) return left;
  for (const auto* numbers : {&done.journaled, &done.stored}) {
    if (!numbers->empty()) next_ = std::max(next_, *numbers->rbegin() + 1);
  }
  const bool isGivenUp = tries_ >= kMostTries;
  left.calls = settle(std::move(left.calls), done);
  if (isGivenUp) {
    leaveOutJournaled();
  } else if (!left.calls.empty()) {
    ++tries_;
    appendDone();
    append(kTried, kNotNoted, "");
  } else if (undone_ == 0 && journaled_.empty() && !left.sessions.empty() && file_->clear()) {
    untold_.clear();
    isSessionWritten_ = false;
  }
  lock.unlock();
  if (isGivenUp) KovaLogDebug("Calls are left out that no start has got through.");
  return left;
}

std::vector<KICallLog::Left::Call> KICallLog::settle(std::vector<Left::Call> found, const Done& done) {
  std::vector<Left::Call> undone;
  for (Left::Call& call : found) {
    const bool isStored = done.stored.contains(call.number);
    if (!isStored && !done.journaled.contains(call.number) && tries_ < kMostTries) {
      undone.push_back(std::move(call));
      continue;
    }
    --undone_;
    // Those that are stored the store names until the next one is done.
    (isStored ? untold_ : journaled_).push_back(call.number);
  }
  return undone;
}

void KICallLog::leaveOutJournaled() {
  untold_.insert(untold_.end(), journaled_.begin(), journaled_.end());
  journaled_.clear();
  appendDone();
  appendThrough();
}

void KICallLog::dropLeft() {
  const MutexLock lock(mutex_);
  const Left dropped = std::exchange(found_, {});
  if (!file_) return;
  for (const Left::Call& call : dropped.calls) untold_.push_back(call.number);
  undone_ -= dropped.calls.size();
  tries_ = 0;
  append(kThrough, kNotNoted, "");
  tellDone();
}

void KICallLog::noteThrough() {
  const MutexLock lock(mutex_);
  if (file_ && tries_ > 0) appendThrough();
}

void KICallLog::appendThrough() {
  tries_ = 0;
  append(kThrough, kNotNoted, "");
}

void KICallLog::close() {
  const MutexLock lock(mutex_);
  file_ = nullptr;
}

void KICallLog::begin(char kind, Number number) {
  buffer_.clear();
  buffer_.add(kind);
  buffer_.addRaw(number);
}

void KICallLog::beginCall() { begin(kCall, next_); }

bool KICallLog::append(char kind, Number number, std::string_view bytes) {
  begin(kind, number);
  buffer_.add(bytes);
  return file_->append(buffer_.text());
}

bool KICallLog::canNote() {
  if (file_ && !isSessionWritten_) isSessionWritten_ = append(kSession, first_, session_);
  return file_ && isSessionWritten_;
}

KICallLog::Number KICallLog::noteBuffer() {
  if (file_->size() + buffer_.size() > kLongest || !file_->append(buffer_.text())) return kNotNoted;
  ++undone_;
  return next_++;
}

void KICallLog::noteMoment(Number call, std::string_view moment) {
  const MutexLock lock(mutex_);
  if (file_ && call != kNotNoted) append(kMoment, call, moment);
}

void KICallLog::noteSession(std::string session) {
  const MutexLock lock(mutex_);
  session_ = std::move(session);
  isSessionWritten_ = file_ && undone_ > 0 && append(kSession, first_, session_);
}

void KICallLog::noteLeftSession(Number which, std::string_view session) {
  const MutexLock lock(mutex_);
  if (file_ && undone_ > 0) append(kSession, which, session);
}

void KICallLog::noteDone(Number call) {
  {
    const MutexLock lock(mutex_);
    if (!file_ || call == kNotNoted) return;
    if (undone_ > 0) --undone_;
    untold_.push_back(call);
    tellDone();
  }
  dropWhatIsDone();
}

void KICallLog::noteJournaled(std::span<const Number> calls) {
  const MutexLock lock(mutex_);
  if (!file_) return;
  for (const Number call : calls) {
    if (call == kNotNoted) continue;
    if (undone_ > 0) --undone_;
    journaled_.push_back(call);
  }
}

void KICallLog::writeDone() {
  {
    const MutexLock lock(mutex_);
    if (!file_ || (journaled_.empty() && untold_.empty())) return;
    untold_.insert(untold_.end(), journaled_.begin(), journaled_.end());
    journaled_.clear();
    tellDone();
  }
  dropWhatIsDone();
}

std::vector<KICallLog::Number> KICallLog::untold() {
  const MutexLock lock(mutex_);
  return untold_;
}

void KICallLog::tellDone() {
  if (undone_ > 0 || file_->size() <= kRoomy) appendDone();
  makeRoom();
}

// Numbers that follow one another are one record.
void KICallLog::appendDone() {
  std::vector<Number> calls = std::exchange(untold_, {});
  std::sort(calls.begin(), calls.end());
  for (std::size_t begin = 0, end; begin < calls.size(); begin = end) {
    for (end = begin + 1; end < calls.size() && calls[end] == calls[end - 1] + 1;) ++end;
    const Number last = calls[end - 1];
    if (append(kDone, calls[begin], {reinterpret_cast<const char*>(&last), sizeof last})) continue;
    untold_.insert(untold_.end(), calls.begin() + static_cast<std::ptrdiff_t>(begin), calls.end());
    return;
  }
}

// A disk that takes no record any more can still be told that there are none.
void KICallLog::makeRoom() {
  const bool isTooLong = file_->size() > kRoomy || !untold_.empty();
  if (undone_ > 0 || !journaled_.empty() || !isTooLong || !file_->clear()) return;
  isSessionWritten_ = false;
  untold_.clear();
}

// Whatever changes the file but the noting of calls is on this queue, too.
void KICallLog::dropWhatIsDone() {
  MutexLock lock(mutex_);
  if (!file_ || file_->size() <= longest_) return;
  RecordFile& file = *file_;
  const std::uint64_t size = file.size();
  longest_ = std::min(size * 2, kLongest);
  std::vector<std::string> kept(static_cast<std::size_t>(tries_), recordOf(kTried, kNotNoted, ""));
  std::map<Number, std::string> sessions{{first_, session_}};
  lock.unlock();

  const auto records = file.recordsUpTo(size);
  if (!records) return;
  const Contents contents(*records);
  for (const auto& [number, call] : contents.undone) {
    if (const auto found = contents.sessions.find(call.session); found != contents.sessions.end())
      sessions.insert(*found);
    kept.push_back(recordOf(kCall, number, call.arguments));
    if (!call.moment.empty()) kept.push_back(recordOf(kMoment, number, call.moment));
  }
  std::vector<std::string> ahead;
  ahead.reserve(sessions.size());
  for (const auto& [first, session] : sessions) ahead.push_back(recordOf(kSession, first, session));
  kept.insert(kept.begin(), ahead.begin(), ahead.end());
  const auto draft = file.draft(kept);

  lock.lock();
  if (!draft || !file.replaceUpTo(size, draft)) return;
  isSessionWritten_ = true;
  longest_ = std::clamp(file.size() * 2, kWorthALook, kLongest);
}
