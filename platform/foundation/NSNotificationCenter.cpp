#include "platform/foundation/NSNotificationCenter.h"

#include "platform/runtime/NSObject.h"

namespace platform {

NSNotificationCenter& NSNotificationCenter::defaultCenter() {
  static NSNotificationCenter& center = *new NSNotificationCenter;
  return center;
}

NSNotificationCenter::Token NSNotificationCenter::addObserver(std::string_view name, Observer observer) {
  const MutexLock lock(mutex_);
  const Token token{++lastToken_};
  registrations_.push_back({token, std::string(name), std::make_shared<const Observer>(std::move(observer))});
  return token;
}

void NSNotificationCenter::removeObserver(Token token) {
  const MutexLock lock(mutex_);
  std::erase_if(registrations_,
                [token](const Registration& registration) { return registration.token == token; });
}

void NSNotificationCenter::post(std::string_view name, std::shared_ptr<NSObject> object) {
  std::vector<std::shared_ptr<const Observer>> observers;
  {
    const MutexLock lock(mutex_);
    for (const Registration& registration : registrations_) {
      if (registration.name == name) observers.push_back(registration.observer);
    }
  }
  const NSNotification notification{std::string(name), std::move(object)};
  for (const auto& observer : observers) (*observer)(notification);
}

}  // namespace platform
