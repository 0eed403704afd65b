#include "examples/support/Column.h"

#include <algorithm>
#include <utility>

using namespace platform;

namespace {

constexpr double kWidest = 480;  // points
constexpr double kWideEnoughForTwo = 500;

// The height that it takes.
double place(UIView& view, double height, double left, double width, double top) {
  const double taken = std::min(width, kWidest);
  const double needed = height == Column::kFitting ? view.sizeThatFits({taken, 0}).height : height;
  view.setFrame(CGRectMake(left + (width - taken) / 2, top, taken, needed));
  return needed;
}

}  // namespace

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

void Column::setLead(std::shared_ptr<UIView> view, double height) {
  addSubview(view);
  lead_ = {std::move(view), height, margin_};
  setNeedsLayout();
}

void Column::layoutSubviews() {
  double left = margin_, top = margin_, width = bounds().size.width - 2 * margin_;
  if (lead_.view && bounds().size.width >= kWideEnoughForTwo) {
    width = (width - margin_) / 2;
    place(*lead_.view, std::min(lead_.height, width), left, width, top);
    left += width + margin_;
  } else if (lead_.view) {
    top += place(*lead_.view, lead_.height, left, width, top) + lead_.gapBelow;
  }
  for (const Row& row : rows_) {
    top += place(*row.view, row.height, left, width, top) + row.gapBelow;
  }
}
