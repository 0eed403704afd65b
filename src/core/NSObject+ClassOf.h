#pragma once

#include "platform/runtime/NSObject.h"
#include "src/core/KovaLogger.h"

// Says in the debug log, once a class, that the C++ class of the object has no NS_OBJECT of its own, if that
// is so. Any thread.
void KOVA_tellMissingDeclaration(const platform::NSObject& object);

// The class that an object is captured under. One whose author forgot NS_OBJECT goes by its superclass.
inline const platform::Class& KOVA_classOf(const platform::NSObject& object) {
  if (KovaLoggingEnabled(kKovaLogLevelDebug)) KOVA_tellMissingDeclaration(object);
  return object.isa();
}
