#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/foundation/Value.h"
#include "platform/runtime/Mutex.h"

namespace platform {

// What an observer is told: the name of the notification and the object that it is about, which may be null.
struct NSNotification {
  std::string name;
  std::shared_ptr<NSObject> object;
};

// Hands notifications to those who asked for them, at once and on the thread that posts.
//
// Observers are called in the order in which they were added; one added while a notification is being posted
// is not told of that one, one removed meanwhile may still be. Any thread.
class NSNotificationCenter {
 public:
  using Observer = std::function<void(const NSNotification&)>;
  enum class Token : std::uint64_t {};

  // The process's own centre, never destroyed.
  static NSNotificationCenter& defaultCenter();

  // The observer is kept until removeObserver is called with the token.
  Token addObserver(std::string_view name, Observer observer);
  void removeObserver(Token token);

  // An exception thrown by an observer reaches the poster.
  void post(std::string_view name, std::shared_ptr<NSObject> object = nullptr);

 private:
  struct Registration {
    Token token;
    std::string name;
    std::shared_ptr<const Observer> observer;
  };
  Mutex mutex_;
  std::vector<Registration> registrations_ PLATFORM_GUARDED_BY(mutex_);
  std::uint64_t lastToken_ PLATFORM_GUARDED_BY(mutex_) = 0;
};

}  // namespace platform
