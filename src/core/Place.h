#pragma once

#include "platform/runtime/NSObject.h"

namespace kova {

// Where an exception is said to have been caught: a class and a method, as two texts that live for ever. They
// are put together only when there is something to report; nothing is looked up before, and nothing kept
// alive.
struct Place {
  constexpr Place(const char* classLiteral, const char* selectorLiteral)
      : className(classLiteral), selector(selectorLiteral) {}
  // The receiver's own class, which may be one of the app's.
  Place(const platform::NSObject& receiver, const char* selectorLiteral)
      : Place(NSStringFromClass(receiver.isa()).c_str(), selectorLiteral) {}
  Place(const platform::NSObject& receiver, platform::SEL method)
      : Place(receiver, NSStringFromSelector(method).c_str()) {}

  const char* className;
  const char* selector;
};

}  // namespace kova
