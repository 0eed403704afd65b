#include "platform/uikit/UIViewController+Variables.h"

namespace platform {

namespace {

std::optional<String> nameOfInstanceVariable(UIViewController& self, SEL, const NSObject& held) {
  for (const InstanceVariable& variable : self.isa().ivars()) {
    if (variable.value(self) == &held) return String(variable.name);
  }
  return std::nullopt;
}

}  // namespace

constinit AddedMethod<std::optional<String>(UIViewController&, const NSObject&)> nameOfVariableMethod{
    UIViewController::classObject, "_nameOfVariableHolding:", nameOfInstanceVariable};

}  // namespace platform
