#pragma once

#include <atomic>
#include <cstdint>
#include <string_view>

#include "platform/foundation/Format.h"

// Writes the library's lines to the system log. One shared instance, usable from any thread; the level is a
// plain number that a change on one thread makes visible to the others in its own time.
//
// Level 0 is always written, "Kova: …"; level 1 adds debug lines, "[KOVA DEBUG]: …"; level 2 verbose ones,
// "[KOVA VERBOSE]: …". A line above the level is not even formatted.
class KovaLogger {
 public:
  static KovaLogger& sharedInstance();

  std::int64_t logLevel() const { return logLevel_.load(std::memory_order_relaxed); }
  void setLogLevel(std::int64_t level) { logLevel_.store(level, std::memory_order_relaxed); }

  template <class... Arguments>
  void logWithLevel(std::int64_t level, platform::FormatString<std::type_identity_t<Arguments>...> format,
                    const Arguments&... arguments) {
    if (logLevel() < level) return;
    write(level, platform::formatted(format, arguments...));
  }

 private:
  KovaLogger() = default;
  static void write(std::int64_t level, std::string_view message);

  std::atomic<std::int64_t> logLevel_ = 0;
};

inline constexpr std::int64_t kKovaLogLevelDebug = 1;
inline constexpr std::int64_t kKovaLogLevelVerbose = 2;

inline bool KovaLoggingEnabled(std::int64_t level) {
  return KovaLogger::sharedInstance().logLevel() >= level;
}

template <class... Arguments>
void KovaLog(platform::FormatString<std::type_identity_t<Arguments>...> format,
             const Arguments&... arguments) {
  KovaLogger::sharedInstance().logWithLevel(0, format, arguments...);
}

template <class... Arguments>
void KovaLogDebug(platform::FormatString<std::type_identity_t<Arguments>...> format,
                  const Arguments&... arguments) {
  KovaLogger::sharedInstance().logWithLevel(kKovaLogLevelDebug, format, arguments...);
}

template <class... Arguments>
void KovaLogVerbose(platform::FormatString<std::type_identity_t<Arguments>...> format,
                    const Arguments&... arguments) {
  KovaLogger::sharedInstance().logWithLevel(kKovaLogLevelVerbose, format, arguments...);
}
