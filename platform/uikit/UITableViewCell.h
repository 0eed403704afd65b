#pragma once

#include "platform/uikit/UILabel.h"
#include "platform/uikit/UIView.h"

namespace platform {

// A row: a text at the left, a detail at the right. Both labels are drawn by the cell and are no subviews, as
// long as the app adds none of its own.
class PLATFORM_EXPORT UITableViewCell : public UIView {
  NS_OBJECT(UITableViewCell, UIView)

 public:
  explicit UITableViewCell(CGRect frame = {});
  ~UITableViewCell() override;

  virtual std::shared_ptr<UILabel> textLabel() const { return textLabel_; }
  virtual std::shared_ptr<UILabel> detailTextLabel() const { return detailTextLabel_; }
  // The text unless one was set.
  std::optional<String> accessibilityLabel() const override;
  void drawRect(CGRect rect, BitmapContext& context) override;

 private:
  std::shared_ptr<UILabel> textLabel_;
  std::shared_ptr<UILabel> detailTextLabel_;
};

}  // namespace platform
