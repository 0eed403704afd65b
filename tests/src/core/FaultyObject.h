#pragma once

#include <string>

#include "platform/foundation/NSException.h"
#include "platform/runtime/NSObject.h"

// A property value that makes the library's own code throw: its description is had a few times, and then
// fails.
class FaultyObject : public platform::NSObject {
  NS_OBJECT(FaultyObject, NSObject)

 public:
  explicit FaultyObject(int goodDescriptions = 0) : goodDescriptions_(goodDescriptions) {}

  std::string description() const override {
    if (goodDescriptions_-- > 0) return "good";
    throw platform::NSException("CartException", "the cart is on fire");
  }

 private:
  mutable int goodDescriptions_;
};
