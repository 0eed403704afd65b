#pragma once

#include "platform/uikit/UIBarItem.h"
#include "platform/uikit/UIView.h"

namespace platform {

class UIButton;
class UILabel;

// The bar of a navigation controller: the title of the screen shown, and a button (of class
// "_UIButtonBarButton", with the title of the screen below) back to the one before. Follows the items'
// titles. The button sends "_back:" to the target, which is held weakly.
class PLATFORM_EXPORT UINavigationBar : public UIView {
  NS_OBJECT(UINavigationBar, UIView)

 public:
  explicit UINavigationBar(const std::shared_ptr<NSObject>& target);
  ~UINavigationBar() override;

  // Null for none: without a previous item there is no button.
  void show(std::shared_ptr<UINavigationItem> item, std::shared_ptr<UINavigationItem> previous);

  void layoutSubviews() override;
  void drawRect(CGRect rect, BitmapContext& context) override;
  void observeValueForKeyPath(const std::string& keyPath, NSObject& object, const KeyValue& newValue,
                              const void* context) override;

 private:
  void observe(std::shared_ptr<UINavigationItem>& held, std::shared_ptr<UINavigationItem> item);
  void update();

  std::shared_ptr<UINavigationItem> item_;
  std::shared_ptr<UINavigationItem> previous_;
  const std::shared_ptr<UILabel> title_;
  const std::shared_ptr<UIButton> backButton_;
};

}  // namespace platform
