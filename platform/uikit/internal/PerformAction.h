#pragma once

#include "platform/runtime/NSObject.h"

namespace platform {

// Runs the action of the target, whose class lists it (ClassBuilder::action). When it is not run, because the
// class has none of that name or the action takes a sender or an event of another class, the system log says
// so. What the action throws passes through. Answers whether the target has the action at all: with
// `isAskingAround` one that has none is not worth a line.
bool performAction(NSObject& target, SEL action, NSObject* sender, NSObject* event,
                   bool isAskingAround = false);
// Logs that the target has no such action; null stands for a chain of responders, none of which has it.
void logMissingAction(const NSObject* target, SEL action, const NSObject* sender);

}  // namespace platform
