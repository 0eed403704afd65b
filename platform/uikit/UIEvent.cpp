#include "platform/uikit/UIEvent.h"

#include <algorithm>

namespace platform {

namespace {

// A method that events answer and that is called as what it is here, a virtual function.
struct PlainMethod {
  const char* selector;
  void installIn(Class& cls) const { cls.addSelector(SEL(selector)); }
};

template <typename Predicate>
UIEvent::Touches touchesThat(const UIEvent::Touches& touches, Predicate predicate) {
  UIEvent::Touches found;
  std::copy_if(touches.begin(), touches.end(), std::back_inserter(found), predicate);
  return found;
}

}  // namespace

void UIEvent::describe(ClassBuilder<UIEvent>& c) {
  const PlainMethod allTouches{"allTouches"};
  c.key("type", &UIEvent::type).key("subtype", &UIEvent::subtype).method(allTouches);
}

UIEvent::Touches UIEvent::touchesForWindow(const UIWindow& window) const {
  return touchesThat(allTouches(), [&](const auto& touch) { return touch->window().get() == &window; });
}

UIEvent::Touches UIEvent::touchesForView(const UIView& view) const {
  return touchesThat(allTouches(), [&](const auto& touch) { return touch->view().get() == &view; });
}

void UIEvent::removeTouch(const UITouch& touch) {
  std::erase_if(touches_, [&](const auto& each) { return each.get() == &touch; });
}

}  // namespace platform
