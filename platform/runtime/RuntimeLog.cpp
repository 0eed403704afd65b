#include "platform/runtime/RuntimeLog.h"

#include <atomic>
#include <cstdio>

namespace platform {

namespace {

void writeToStandardError(std::string_view line) noexcept {
  std::fprintf(stderr, "%.*s\n", static_cast<int>(line.size()), line.data());
}

constinit std::atomic<RuntimeLog> current{writeToStandardError};

}  // namespace

void setRuntimeLog(RuntimeLog log) noexcept { current = log ? log : writeToStandardError; }

void runtimeLog(std::string_view line) noexcept { current.load()(line); }

}  // namespace platform
