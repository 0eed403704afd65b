#pragma once

#include <compare>
#include <string>

namespace platform {

// A moment of wall-clock time, in seconds since 1970-01-01 00:00:00 UTC. A value; it reads no clock: "now" is
// asked of the Scheduler.
class NSDate {
 public:
  constexpr NSDate() = default;
  static constexpr NSDate withTimeIntervalSince1970(double seconds) { return NSDate(seconds); }
  // Before every date that a clock gives.
  static constexpr NSDate distantPast() { return NSDate(-62135769600.0); }

  constexpr double timeIntervalSince1970() const { return seconds_; }
  constexpr double timeIntervalSince(NSDate other) const { return seconds_ - other.seconds_; }
  constexpr NSDate adding(double seconds) const { return NSDate(seconds_ + seconds); }

  // "2026-11-21 02:44:00 +0000", whole seconds, UTC.
  std::string description() const;

  constexpr auto operator<=>(const NSDate&) const = default;

 private:
  explicit constexpr NSDate(double seconds) : seconds_(seconds) {}
  double seconds_ = 0;
};

}  // namespace platform
