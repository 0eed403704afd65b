#include <algorithm>

#include "platform/uikit/UIGestureRecognizer.h"
#include "platform/uikit/UIView.h"

namespace platform {

void UIView::addGestureRecognizer(std::shared_ptr<UIGestureRecognizer> recognizer) {
  if (!recognizer) return;
  if (const auto previous = recognizer->view()) previous->removeGestureRecognizer(*recognizer);
  recognizer->attach({}, std::static_pointer_cast<UIView>(shared_from_this()));
  recognizers_.push_back(std::move(recognizer));
}

void UIView::removeGestureRecognizer(UIGestureRecognizer& recognizer) {
  const auto isIt = [&](const auto& each) { return each.get() == &recognizer; };
  const auto position = std::find_if(recognizers_.begin(), recognizers_.end(), isIt);
  if (position == recognizers_.end()) return;
  (*position)->attach({}, nullptr);
  recognizers_.erase(position);
}

}  // namespace platform
