#include "platform/uikit/internal/PerformAction.h"

#include <string>

#include "platform/foundation/SystemLog.h"

namespace platform {

namespace {

std::string nameOf(const NSObject* object) { return object ? object->description() : "nobody"; }

}  // namespace

void logMissingAction(const NSObject* target, SEL action, const NSObject* sender) {
  const std::string asked = target ? target->description() + " has" : "No responder in the chain has";
  NSLog(asked + (target ? " no action \"" : " an action \"") + NSStringFromSelector(action) + "\", sent by " +
        nameOf(sender));
}

bool performAction(NSObject& target, SEL action, NSObject* sender, NSObject* event, bool isAskingAround) {
  const auto keep = target.weak_from_this().lock();
  switch (target.isa().perform(target, action, sender, event)) {
    case Class::Performed::Yes:
      break;
    case Class::Performed::NoSuchAction:
      if (!isAskingAround) logMissingAction(&target, action, sender);
      return false;
    case Class::Performed::WrongArgument:
      NSLog("The action \"" + NSStringFromSelector(action) + "\" of " + nameOf(&target) +
            " takes another sender or event than " + nameOf(sender) + " and " + nameOf(event));
      break;
  }
  return true;
}

}  // namespace platform
