#include "src/core/NSObject+KovaMethodSwizzling.h"

#include "src/core/KIBailer.h"

void KOVA_registerMultipleSwizzleAttempt(const platform::Class& cls, platform::SEL installer) {
  KIBailer::sharedBailer().registerException(platform::NSException("MultipleSwizzleAttempt"), cls, installer,
                                             true);
}
