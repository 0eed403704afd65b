#pragma once

#include <optional>

#include "platform/uikit/UIBarItem.h"
#include "platform/uikit/UIView.h"

namespace platform {

class UIControl;

// The bar of a tab bar controller: a button (of class "UITabBarButton") for each item, one of them selected.
// Follows the items' titles. The buttons send "_tabBarItemClicked:" to the target, which is
// held weakly.
class PLATFORM_EXPORT UITabBar : public UIView {
  NS_OBJECT(UITabBar, UIView)

 public:
  explicit UITabBar(std::weak_ptr<NSObject> target);
  ~UITabBar() override;

  void setItems(std::vector<std::shared_ptr<UITabBarItem>> items);
  void setSelectedIndex(std::size_t index);
  // The place of a button of the bar; none for anything else.
  std::optional<std::size_t> indexOfButton(const UIControl* button) const;

  void layoutSubviews() override;
  void drawRect(CGRect rect, BitmapContext& context) override;
  void observeValueForKeyPath(const std::string& keyPath, NSObject& object, const KeyValue& newValue,
                              const void* context) override;

 private:
  class Button;

  const std::weak_ptr<NSObject> target_;
  std::vector<std::shared_ptr<UITabBarItem>> items_;
  std::vector<std::shared_ptr<Button>> buttons_;
};

}  // namespace platform
