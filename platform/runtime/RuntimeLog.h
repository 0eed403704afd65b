#pragma once

#include <string_view>

namespace platform {

// What the run-time tells the developer of an app: one line a call, to standard error until a layer above
// puts its log in the place. The log is called on any thread, and while a class record is being made. Any
// thread.
using RuntimeLog = void (*)(std::string_view line) noexcept;
void setRuntimeLog(RuntimeLog log) noexcept;
void runtimeLog(std::string_view line) noexcept;

}  // namespace platform
