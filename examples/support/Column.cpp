#include "examples/support/Column.h"

#include <algorithm>
#include <utility>

using namespace platform;

namespace {

constexpr double kWidest = 480;  // points
constexpr double kWideEnoughForTwo = 500;

}  // namespace

Column::Column(double margin) : margin_(margin) {}

void Column::add(std::shared_ptr<UIView> view, double height, double gapBelow) {
  addRow({std::move(view), height, gapBelow, false});
}

void Column::addPicture(std::shared_ptr<UIView> view, double height) {
  addRow({std::move(view), height, margin_, true});
}

void Column::addRow(Row row) {
  addSubview(row.view);
  rows_.push_back(std::move(row));
  setNeedsLayout();
}

void Column::removeAll() {
  for (const Row& row : rows_) row.view->removeFromSuperview();
  rows_.clear();
  firstOfSecond_ = 0;
}

void Column::layoutSubviews() {
  const double all = bounds().size.width;
  const bool isWide = firstOfSecond_ > 0 && all >= kWideEnoughForTwo;
  const double width = isWide ? (all - 3 * margin_) / 2 : all - 2 * margin_;
  const double taken = std::min(width, kWidest);
  double left = margin_ + (width - taken) / 2, top = margin_;
  for (std::size_t i = 0; i < rows_.size(); ++i) {
    if (isWide && i == firstOfSecond_) {
      left += width + margin_;
      top = margin_;
    }
    const auto& [view, wanted, gapBelow, isPicture] = rows_[i];
    double height = wanted == kFitting ? view->sizeThatFits({taken, 0}).height : wanted;
    if (isPicture) height = std::min(height, taken);
    view->setFrame(CGRectMake(left, top, taken, height));
    top += height + gapBelow;
  }
}
