#include "platform/uikit/UIEvent.h"

namespace platform {

namespace {

// A method that events answer and that is called as what it is here, a virtual function.
struct PlainMethod {
  const char* selector;
  void installIn(Class& cls) const { cls.addSelector(SEL(selector)); }
};

}  // namespace

void UIEvent::describe(ClassBuilder<UIEvent>& c) {
  const PlainMethod allTouches{"allTouches"};
  c.key("type", &UIEvent::type).key("subtype", &UIEvent::subtype).method(allTouches);
}

UIEvent::Touches UIEvent::touchesForWindow(const UIWindow& window) const {
  Touches found = allTouches();
  std::erase_if(found, [&](const auto& touch) { return touch->window().get() != &window; });
  return found;
}

}  // namespace platform
