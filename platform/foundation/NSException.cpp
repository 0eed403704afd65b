#include "platform/foundation/NSException.h"

#include <execinfo.h>

#include <array>
#include <cstdlib>
#include <memory>

#include "platform/foundation/SystemLog.h"
#include "platform/runtime/TypeName.h"

namespace platform {

namespace {

constexpr int kDeepestStack = 64;

std::vector<void*> currentCallStack() {
  std::array<void*, kDeepestStack> frames;
  const int depth = backtrace(frames.data(), kDeepestStack);
  return std::vector<void*>(frames.begin(), frames.begin() + depth);
}

}  // namespace

NSException::NSException(std::string_view name, std::optional<std::string> reason,
                         std::optional<Dictionary> userInfo)
    : name_(name),
      reason_(std::move(reason)),
      userInfo_(std::move(userInfo)),
      callStack_(currentCallStack()) {}

NSException NSException::current() {
  try {
    throw;
  } catch (const NSException& exception) {
    return exception;
  } catch (const std::exception& exception) {
    return NSException(typeName(typeid(exception)), exception.what());
  } catch (...) {
    return NSException("unknown");
  }
}

Array NSException::callStackSymbols() const {
  const std::unique_ptr<char*, decltype(&std::free)> symbols(
      backtrace_symbols(callStack_.data(), static_cast<int>(callStack_.size())), &std::free);
  if (!symbols) return {};
  std::vector<Value> lines;
  for (std::size_t i = 0; i < callStack_.size(); ++i) lines.emplace_back(symbols.get()[i]);
  return Array(std::move(lines));
}

void handleFailureInMethod(std::string_view method, std::string_view file, int lineNumber,
                           std::string_view description) {
  NSLog("*** Assertion failure in " + std::string(method) + ", " + std::string(file) + ":" +
        std::to_string(lineNumber));
  throw NSException(NSInternalInconsistencyException, std::string(description));
}

}  // namespace platform
