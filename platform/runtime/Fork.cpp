#include "platform/runtime/Fork.h"

#include <pthread.h>

namespace platform {

void runInForkedChildren(void (*handler)()) { pthread_atfork(nullptr, nullptr, handler); }

}  // namespace platform
