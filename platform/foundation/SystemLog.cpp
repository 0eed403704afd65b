#include "platform/foundation/SystemLog.h"

#include <pthread.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <ctime>
#include <memory>
#include <new>
#include <string>

#include "platform/foundation/CodePoints.h"
#include "platform/runtime/Condition.h"
#include "platform/runtime/ScopedFlag.h"

namespace platform {

namespace {

struct State {
  Mutex sinkMutex;
  std::shared_ptr<const SystemLog::Sink> sink PLATFORM_GUARDED_BY(sinkMutex);
  // Keeps the lines of this process apart where one write is not enough: a long line into a pipe that is
  // nearly full.
  Mutex streamMutex;
};

State& state();

// Threads that a forked child does not have may hold the locks.
void renewLocks() {
  new (&state().sinkMutex) Mutex;
  new (&state().streamMutex) Mutex;
}

State& makeState() {
  pthread_atfork(nullptr, nullptr, &renewLocks);
  return *new State;
}

State& state() {
  static State& instance = makeState();
  return instance;
}

// "2026-11-21 02:44:12.345678+0000 Storefront[1234:5678] "
std::string linePrefix() {
  timeval now{};
  gettimeofday(&now, nullptr);
  std::tm local{};
  localtime_r(&now.tv_sec, &local);
  char seconds[32], offset[8], text[256];
  std::strftime(seconds, sizeof seconds, "%Y-%m-%d %H:%M:%S", &local);
  std::strftime(offset, sizeof offset, "%z", &local);
  std::snprintf(text, sizeof text, "%s.%06ld%s %.128s[%d:%d] ", seconds, static_cast<long>(now.tv_usec),
                offset, program_invocation_short_name, getpid(), gettid());
  return text;
}

std::string bounded(std::string_view message) {
  if (message.size() <= SystemLog::kLongestMessage) return std::string(message);
  std::size_t end = SystemLog::kLongestMessage;
  // No code point has more than three continuation bytes; more of them are no text to be careful with.
  for (int steps = 0; steps < 3 && isContinuationByte(message[end]); ++steps) --end;
  return std::string(message.substr(0, end)) + "… [cut, " + std::to_string(message.size()) + " bytes in all]";
}

void writeToStandardError(std::string_view message) {
  std::string line = linePrefix();
  line.append(message).append("\n");
  MutexLock lock(state().streamMutex);
  std::string_view rest = line;
  while (!rest.empty()) {
    const ssize_t written = ::write(STDERR_FILENO, rest.data(), rest.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return;
    rest.remove_prefix(static_cast<std::size_t>(written));
  }
}

// False when there is no sink, or when it did not take the message.
bool giveToSink(std::string_view message) {
  thread_local bool insideSink = false;
  if (insideSink) return false;
  std::shared_ptr<const SystemLog::Sink> sink;
  {
    MutexLock lock(state().sinkMutex);
    sink = state().sink;
  }
  if (!sink) return false;
  const ScopedFlag inside(insideSink);
  try {
    (*sink)(message);
    return true;
  } catch (...) {
    return false;
  }
}

}  // namespace

void SystemLog::setSink(Sink sink) {
  auto shared = sink ? std::make_shared<const Sink>(std::move(sink)) : nullptr;
  MutexLock lock(state().sinkMutex);
  // The sink before is destroyed by the caller's thread, after the lock.
  state().sink.swap(shared);
}

void SystemLog::write(std::string_view message) noexcept {
  // A line is lost when there is no memory for it; that is no reason to stop the process.
  try {
    const std::string text = bounded(message);
    if (!giveToSink(text)) writeToStandardError(text);
  } catch (...) {
  }
}

void NSLog(std::string_view message) noexcept { SystemLog::write(message); }

}  // namespace platform
