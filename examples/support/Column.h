#pragma once

#include <memory>
#include <vector>

#include "platform/uikit/UIView.h"

// Views one below another, as wide as the column less its margins, and no wider than is good to read and to
// tap. Where there is room, one of them stands beside all the others.
class Column : public platform::UIView {
  NS_OBJECT(Column, UIView)

 public:
  explicit Column(double margin);

  // The height, in points, is kept; kFitting is the one that the view would like in its width.
  static constexpr double kFitting = 0;
  void add(std::shared_ptr<UIView> view, double height, double gapBelow = 12);
  // Above the others in a narrow column, to the left of them in a wide one. Once.
  void setLead(std::shared_ptr<UIView> view, double height);
  void removeAll();
  void layoutSubviews() override;

 private:
  struct Row {
    std::shared_ptr<UIView> view;
    double height;
    double gapBelow;
  };

  const double margin_;
  Row lead_{};  // no view for none
  std::vector<Row> rows_;
};
