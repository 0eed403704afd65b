#pragma once

#include <algorithm>
#include <limits>

namespace platform {

// Plain values of geometry. Units are points; x grows to the right, y downward.

struct CGPoint {
  double x = 0;
  double y = 0;

  friend constexpr bool operator==(const CGPoint&, const CGPoint&) = default;
};

struct CGSize {
  double width = 0;
  double height = 0;

  friend constexpr bool operator==(const CGSize&, const CGSize&) = default;
};

// Left and top edge belong to the rectangle, right and bottom edge do not. One whose width or height is not a
// positive number is empty: it contains no point and intersects nothing.
struct CGRect {
  CGPoint origin;
  CGSize size;

  friend constexpr bool operator==(const CGRect&, const CGRect&) = default;
};

constexpr CGRect CGRectMake(double x, double y, double width, double height) {
  return {{x, y}, {width, height}};
}

inline constexpr CGRect CGRectZero{};

// No rectangle: what the intersection of rectangles without a common point is. Not the same as an empty one,
// which has a place.
inline constexpr CGRect CGRectNull{
    {std::numeric_limits<double>::infinity(), std::numeric_limits<double>::infinity()}, {0, 0}};

constexpr bool CGRectIsNull(const CGRect& rect) {
  return rect.origin.x == CGRectNull.origin.x || rect.origin.y == CGRectNull.origin.y;
}

constexpr double CGRectGetMinX(const CGRect& rect) { return rect.origin.x; }
constexpr double CGRectGetMinY(const CGRect& rect) { return rect.origin.y; }
constexpr double CGRectGetMaxX(const CGRect& rect) { return rect.origin.x + rect.size.width; }
constexpr double CGRectGetMaxY(const CGRect& rect) { return rect.origin.y + rect.size.height; }
constexpr double CGRectGetMidX(const CGRect& rect) { return rect.origin.x + rect.size.width / 2; }
constexpr double CGRectGetMidY(const CGRect& rect) { return rect.origin.y + rect.size.height / 2; }

constexpr bool CGRectIsEmpty(const CGRect& rect) {
  return CGRectIsNull(rect) || !(rect.size.width > 0 && rect.size.height > 0);
}

constexpr bool CGRectContainsPoint(const CGRect& rect, CGPoint point) {
  return !CGRectIsEmpty(rect) && point.x >= CGRectGetMinX(rect) && point.x < CGRectGetMaxX(rect) &&
         point.y >= CGRectGetMinY(rect) && point.y < CGRectGetMaxY(rect);
}

// Null when the two have no point in common.
constexpr CGRect CGRectIntersection(const CGRect& a, const CGRect& b) {
  if (CGRectIsEmpty(a) || CGRectIsEmpty(b)) return CGRectNull;
  const double left = std::max(CGRectGetMinX(a), CGRectGetMinX(b));
  const double top = std::max(CGRectGetMinY(a), CGRectGetMinY(b));
  const double right = std::min(CGRectGetMaxX(a), CGRectGetMaxX(b));
  const double bottom = std::min(CGRectGetMaxY(a), CGRectGetMaxY(b));
  if (!(left < right && top < bottom)) return CGRectNull;
  return CGRectMake(left, top, right - left, bottom - top);
}

constexpr bool CGRectIntersectsRect(const CGRect& a, const CGRect& b) {
  return !CGRectIsNull(CGRectIntersection(a, b));
}

// Each edge moved inward, or outward by a negative distance. Null when nothing is left between them.
constexpr CGRect CGRectInset(const CGRect& rect, double dx, double dy) {
  const CGSize size{rect.size.width - 2 * dx, rect.size.height - 2 * dy};
  if (CGRectIsNull(rect) || size.width < 0 || size.height < 0) return CGRectNull;
  return {{rect.origin.x + dx, rect.origin.y + dy}, size};
}

constexpr CGRect CGRectOffset(const CGRect& rect, double dx, double dy) {
  if (CGRectIsNull(rect)) return CGRectNull;
  return {{rect.origin.x + dx, rect.origin.y + dy}, rect.size};
}

}  // namespace platform
