#include "platform/uikit/UIBarItem.h"

namespace platform {

void UIBarItem::describe(ClassBuilder<UIBarItem>& c) { c.observableKey("title", &UIBarItem::title); }

void UIBarItem::setTitle(std::optional<String> title) {
  if (title_ == title) return;
  title_ = std::move(title);
  didChangeValueForKey("title");
}

}  // namespace platform
