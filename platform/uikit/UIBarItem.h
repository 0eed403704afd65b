#pragma once

#include <optional>

#include "platform/foundation/String.h"
#include "platform/runtime/NSObject.h"

namespace platform {

// What stands for a controller in a bar: its title. Announces changes of the key "title".
class PLATFORM_EXPORT UIBarItem : public NSObject {
  NS_OBJECT(UIBarItem, NSObject)

 public:
  static void describe(ClassBuilder<UIBarItem>& c);

  virtual std::optional<String> title() const { return title_; }
  void setTitle(std::optional<String> title);

 private:
  std::optional<String> title_;
};

class PLATFORM_EXPORT UINavigationItem : public UIBarItem {
  NS_OBJECT(UINavigationItem, UIBarItem)
};

class PLATFORM_EXPORT UITabBarItem : public UIBarItem {
  NS_OBJECT(UITabBarItem, UIBarItem)
};

}  // namespace platform
