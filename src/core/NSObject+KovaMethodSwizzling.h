#pragma once

#include "platform/runtime/Class.h"
#include "platform/runtime/Method.h"
#include "src/core/Place.h"
#include "src/core/Threads.h"

// Replacing the implementations of platform methods.

// Replaces the implementation that the class answers the method with, and returns the one before. It may be
// the class's own, or inherited and so shared with other classes. Null, with nothing done, when there is no
// such method; null also when the one before is the very implementation given.
template <class Signature>
typename platform::Method<Signature>::Imp KOVA_replaceMethod(
    platform::Method<Signature>* method, const platform::Class& cls,
    typename platform::Method<Signature>::Imp implementation) KOVA_ON_MAIN_THREAD {
  if (!method) return nullptr;
  const auto previous = method->replace(cls, implementation);
  return previous == implementation ? nullptr : previous;
}

// The same for a method that is there.
template <class Signature>
typename platform::Method<Signature>::Imp KOVA_replaceInstanceSelector(
    const platform::Class& cls, platform::Method<Signature>& method,
    typename platform::Method<Signature>::Imp implementation) KOVA_ON_MAIN_THREAD {
  return KOVA_replaceMethod(&method, cls, implementation);
}

// Reports a second attempt to replace the same methods, which switches the library off.
void KOVA_registerMultipleSwizzleAttempt(const kova::Place& installer) KOVA_ON_MAIN_THREAD;
