#include "src/core/KovaLogger.h"

#include "platform/foundation/SystemLog.h"

using namespace platform;

KovaLogger& KovaLogger::sharedInstance() {
  static KovaLogger& logger = *new KovaLogger;
  return logger;
}

void KovaLogger::write(std::int64_t level, std::string_view message) {
  if (level == kKovaLogLevelVerbose) {
    NSLog(formatted("[KOVA VERBOSE]: %@", message));
  } else if (level == kKovaLogLevelDebug) {
    NSLog(formatted("[KOVA DEBUG]: %@", message));
  } else {
    NSLog(formatted("Kova: %@", message));
  }
}
