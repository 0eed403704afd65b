#pragma once

#include <optional>

#include "platform/runtime/AddedMethod.h"
#include "platform/uikit/UIViewController.h"

namespace platform {

// The name under which a controller's own class keeps an object: that of the first of its instance variables
// which holds it, unless the class has another answer. A toolkit whose objects have names gives that. None
// when there is no such variable. Main thread only.
extern AddedMethod<std::optional<String>(UIViewController&, const NSObject& held)> nameOfVariableMethod;

}  // namespace platform
