#include "src/core/Guard.h"

namespace kova {

void registerCurrentException(const Place& place, OnException onException) noexcept {
  try {
    KIBailer::sharedBailer().registerException(platform::NSException::current(), place,
                                               onException == OnException::Bail);
  } catch (...) {
    // Not even the line of log could be made, for want of memory most likely. Going quiet needs none.
    if (onException == OnException::Bail) KIBailer::sharedBailer().bailWithoutReport();
  }
}

}  // namespace kova
