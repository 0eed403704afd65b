#include "src/core/NSObject+KovaMethodSwizzling.h"

#include "src/core/KIBailer.h"

void KOVA_registerMultipleSwizzleAttempt(const kova::Place& installer) {
  KIBailer::sharedBailer().registerException(platform::NSException("MultipleSwizzleAttempt"), installer,
                                             true);
}
