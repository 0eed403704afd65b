#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/foundation/Value.h"

namespace platform {

// The text that a value of the user defaults is stored as, in the form that NSUserDefaults describes. None
// for a value that has no such form.
std::optional<std::string> storedForm(const Value& value);
// None for text that is no such form.
std::optional<Value> fromStoredForm(std::string_view text);

}  // namespace platform
