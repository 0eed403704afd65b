#include "examples/support/Column.h"

#include <utility>

using namespace platform;

Column::Column(double margin) : margin_(margin) {}

void Column::add(std::shared_ptr<UIView> view, double height, double gapBelow) {
  addSubview(view);
  rows_.push_back({std::move(view), height, gapBelow});
  setNeedsLayout();
}

void Column::removeAll() {
  for (const Row& row : rows_) row.view->removeFromSuperview();
  rows_.clear();
}

void Column::layoutSubviews() {
  const double width = bounds().size.width - 2 * margin_;
  double top = margin_;
  for (const Row& row : rows_) {
    row.view->setFrame(CGRectMake(margin_, top, width, row.height));
    top += row.height + row.gapBelow;
  }
}
