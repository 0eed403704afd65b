#pragma once

#include <memory>
#include <vector>

#include "platform/uikit/UIView.h"

// Views one below another, as wide as the column less its margins.
class Column : public platform::UIView {
  NS_OBJECT(Column, UIView)

 public:
  explicit Column(double margin);

  // In points; the view keeps its height.
  void add(std::shared_ptr<UIView> view, double height, double gapBelow = 12);
  void removeAll();
  void layoutSubviews() override;

 private:
  struct Row {
    std::shared_ptr<UIView> view;
    double height;
    double gapBelow;
  };
  const double margin_;
  std::vector<Row> rows_;
};
