#pragma once

#include "platform/uikit/UIView.h"

namespace platform {

// The view of a container with a bar: lays the content out in what the bar leaves of it. The bar keeps clear
// of the status area at the top of the screen and reaches below the home indicator at the bottom.
class PLATFORM_EXPORT UILayoutContainerView : public UIView {
  NS_OBJECT(UILayoutContainerView, UIView)

 public:
  enum class BarPlace { Top, Bottom };

  UILayoutContainerView(std::shared_ptr<UIView> bar, BarPlace place);

  // Takes the place of the content before, and its size at once. Null for none.
  void setContent(const std::shared_ptr<UIView>& content);

  void layoutSubviews() override;

 private:
  const std::shared_ptr<UIView> bar_;
  const BarPlace place_;
  std::weak_ptr<UIView> content_;
};

}  // namespace platform
