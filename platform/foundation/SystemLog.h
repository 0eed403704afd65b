#pragma once

#include <functional>
#include <string_view>

namespace platform {

// The system log: standard error, or the sink that a host or a test has put in its place. Process-wide, any
// thread.
//
// A message becomes one line of the form "2026-11-21 02:44:12.345678+0000 Storefront[1234:5678] message"
// (local time with its offset, process name, process id and thread id), written at once and never mixed with
// another. Line breaks in the message are kept. Of a message above kLongestMessage bytes the rest is cut off,
// with a mark that says so.
class SystemLog {
 public:
  static constexpr std::size_t kLongestMessage = 64 * 1024;

  using Sink = std::function<void(std::string_view message)>;

  // The sink receives the bare messages, on the threads that log them, several at once; null restores
  // standard error. A message for which the sink throws, or which it logs itself, goes to standard error.
  static void setSink(Sink sink);

  // Never throws.
  static void write(std::string_view message) noexcept;
};

// One message to the system log.
void NSLog(std::string_view message) noexcept;

}  // namespace platform
