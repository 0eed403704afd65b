#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "platform/uikit/UIView.h"

// Views one below another, as wide as the column less its margins, and no wider than is good to read and to
// tap. Where there is room, those of the second part stand beside the others.
class Column : public platform::UIView {
  NS_OBJECT(Column, UIView)

 public:
  explicit Column(double margin);

  // The height, in points, is kept; kFitting is the one that the view would like in its width.
  static constexpr double kFitting = 0;
  void add(std::shared_ptr<UIView> view, double height, double gapBelow = 12);
  // No higher than it is wide.
  void addPicture(std::shared_ptr<UIView> view, double height);
  // What is added from here on is the second part.
  void beginSecondPart() { firstOfSecond_ = rows_.size(); }
  void removeAll();
  void layoutSubviews() override;

 private:
  struct Row {
    std::shared_ptr<UIView> view;
    double height;
    double gapBelow;
    bool isPicture;
  };
  void addRow(Row row);

  const double margin_;
  std::vector<Row> rows_;
  std::size_t firstOfSecond_ = 0;  // 0 for no second part
};
