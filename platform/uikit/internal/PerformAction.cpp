#include "platform/uikit/internal/PerformAction.h"

#include <string>

#include "platform/foundation/Format.h"
#include "platform/foundation/SystemLog.h"

namespace platform {

namespace {

std::string nameOf(const NSObject* object) { return object ? object->description() : "nobody"; }

}  // namespace

void logMissingAction(const NSObject* target, SEL action, const NSObject* sender) {
  const std::string name(NSStringFromSelector(action));
  if (target) {
    NSLog(formatted("%@ has no action \"%@\", sent by %@", nameOf(target), name, nameOf(sender)));
  } else {
    NSLog(formatted("No responder in the chain has an action \"%@\", sent by %@", name, nameOf(sender)));
  }
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
      NSLog(formatted("The action \"%@\" of %@ takes another sender or event than %@ and %@",
                      std::string(NSStringFromSelector(action)), nameOf(&target), nameOf(sender),
                      nameOf(event)));
      break;
  }
  return true;
}

}  // namespace platform
