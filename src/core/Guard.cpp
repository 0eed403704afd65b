#include "src/core/Guard.h"

namespace kova {

void registerCurrentException(const Place& place, OnException onException) noexcept {
  try {
    KIBailer::sharedBailer().registerException(platform::NSException::current(), place,
                                               onException == OnException::Bail);
  } catch (...) {
    // Not even the log line could be made, most likely because memory is short. Going quiet needs none.
    if (onException == OnException::Bail) KIBailer::sharedBailer().bailWithoutReport();
  }
}

}  // namespace kova
