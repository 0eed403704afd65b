#pragma once

#include <optional>
#include <utility>

namespace platform {

// What a read of something stored answers: a value; none, because there is none; or none because it cannot be
// told for the moment. Whoever decides something for good on "none" asks first whether it is the latter.
template <class T>
class Reading : public std::optional<T> {
 public:
  using std::optional<T>::optional;
  Reading(std::optional<T> value) : std::optional<T>(std::move(value)) {}

  static Reading unreadable() {
    Reading reading;
    reading.isUnreadable_ = true;
    return reading;
  }
  bool isUnreadable() const { return isUnreadable_; }

 private:
  bool isUnreadable_ = false;
};

}  // namespace platform
