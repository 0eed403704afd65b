#pragma once

#include <cxxabi.h>

#include <exception>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/foundation/Value.h"

namespace platform {

// What unwinds the stack of a thread that ends itself (pthread_exit) or is cancelled. Whoever catches
// everything lets this through, or the process is aborted.
#if defined(__GLIBCXX__)
using ForcedUnwind = abi::__forced_unwind;
#else
struct ForcedUnwind {};
#endif

// The platform's exception: a name, an optional reason and details, and the stack on which it was made.
//
// The stack is kept as return addresses; turning them into text is put off until it is asked for, because
// most exceptions are caught and dropped.
class NSException : public std::exception {
 public:
  explicit NSException(std::string_view name, std::optional<std::string> reason = std::nullopt,
                       std::optional<Dictionary> userInfo = std::nullopt);

  // The exception in flight as an NSException: itself when it is one, a std::exception under its demangled
  // type with what() as reason, and "unknown" for anything else. Call it inside a catch block only. The stack
  // is then that of the catch block.
  static NSException current();

  const std::string& name() const { return name_; }
  const std::optional<std::string>& reason() const { return reason_; }
  const std::optional<Dictionary>& userInfo() const { return userInfo_; }
  // One text a frame, innermost first.
  Array callStackSymbols() const;

  const char* what() const noexcept override { return reason_ ? reason_->c_str() : name_.c_str(); }

 private:
  std::string name_;
  std::optional<std::string> reason_;
  std::optional<Dictionary> userInfo_;
  std::vector<void*> callStack_;
};

// Raised by a failed assertion.
inline constexpr std::string_view NSInternalInconsistencyException = "NSInternalInconsistencyException";

// The platform's assertion handler: logs the failure and throws an NSInternalInconsistencyException whose
// reason is the description. `method` is written as the platform writes it, "+[NSTimer
// scheduledTimerWithTimeInterval:…]".
[[noreturn]] void handleFailureInMethod(std::string_view method, std::string_view file, int lineNumber,
                                        std::string_view description);

}  // namespace platform
