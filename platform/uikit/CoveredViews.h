#pragma once

#include "platform/graphics/CGGeometry.h"
#include "platform/graphics/Color.h"

namespace platform {

class UIView;

// How much of a view a picture leaves out: what lies inside it, or the view as a whole.
enum class ViewCover { None, Inside, Whole };

// While one lives, whatever draws views leaves out those that its rule names. They are not drawn, nor is
// anything inside them: an opaque rectangle stands in their place, cut and overlapped as they would be. In a
// window that another toolkit draws whole, that toolkit paints it over the finished picture, also where
// something lies in front of the view.
//
// One at a time; main thread only.
class CoveredViews {
 public:
  // Asked of the views that would be drawn, from the window inwards; not of those inside a covered one.
  using Rule = ViewCover (*)(UIView& view);

  explicit CoveredViews(Rule rule);
  ~CoveredViews();
  CoveredViews(const CoveredViews&) = delete;
  CoveredViews& operator=(const CoveredViews&) = delete;

  // Whether there is a rule now, and what it says of a view: without one, nothing is covered.
  static bool areAny();
  static ViewCover coverOf(UIView& view);
  // What stands in the place of a covered view.
  static constexpr Color color() { return Color::systemGray(); }
};

}  // namespace platform
