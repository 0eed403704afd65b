#pragma once

#include "platform/foundation/Value.h"
#include "src/core/Threads.h"

// An event on its way to somebody who watches events as they are recorded: made with it on the main thread,
// and sent with its message. Immutable.
class KIEventRecording {
 public:
  virtual ~KIEventRecording() = default;
  virtual void send(const platform::Dictionary& message) const KOVA_ON_MUTATION_QUEUE = 0;
};
