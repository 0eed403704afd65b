// Says in the debug log that messages wait for a pageview: without one nothing would ever be sent.

#include "src/core/KovaLogger.h"
#include "src/core/KovaTimer.h"
#include "src/core/NSOperationQueue+SafeOperation.h"
#include "src/events/KovaMessageBuilder.h"
#include "src/storage/KovaQueueManager.h"

using namespace platform;

namespace {

constexpr double kPatience = 3.0;  // seconds; most apps have shown a screen by then

}  // namespace

// Looks again a little after a message began to wait. Does nothing unless the app debugs.
void KovaQueueManager::watchForAPageview() {
  if (hasSaidThatMessagesWait_ || !KovaLoggingEnabled(kKovaLogLevelDebug)) return;
  if (const auto watch = pageviewWatch_.lock(); watch && watch->isRunning()) return;
  if (!KovaMessageBuilder::unenrichedMessagesExistInArray(queuedEvents_)) return;
  pageviewWatch_ =
      kova::performAfter(kPatience, *KOVA_serialStateQueue(), *this,
                         [](KovaQueueManager& self) KOVA_ON_MUTATION_QUEUE { self.sayThatMessagesWait(); });
}

void KovaQueueManager::sayThatMessagesWait() {
  if (!KovaMessageBuilder::unenrichedMessagesExistInArray(queuedEvents_)) return;
  hasSaidThatMessagesWait_ = true;
  KovaLogDebug(
      "Messages wait for a pageview, and nothing is sent before it: no screen has been recorded in this session. An app without view controllers sets disableViewControllerAutocapture; any other initialises before it shows its first window. Of more than %lu messages the oldest are dropped.",
      limits_.queuedEvents);
}
