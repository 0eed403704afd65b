#include "platform/drawing/internal/CairoCanvas.h"

#include <algorithm>
#include <new>
#include <numbers>

#include "platform/drawing/internal/TextLayout.h"
#include "platform/graphics/Image.h"

namespace platform {

namespace {

void setSource(cairo_t* cairo, Color color) {
  cairo_set_source_rgba(cairo, color.red, color.green, color.blue, color.alpha);
}

void addRect(cairo_t* cairo, const CGRect& rect) {
  cairo_rectangle(cairo, rect.origin.x, rect.origin.y, rect.size.width, rect.size.height);
}

void addRoundedRect(cairo_t* cairo, const CGRect& rect, double radius) {
  const double r = std::min({radius, rect.size.width / 2, rect.size.height / 2});
  if (!(r > 0)) return addRect(cairo, rect);
  constexpr double kQuarter = std::numbers::pi / 2;
  cairo_new_sub_path(cairo);
  cairo_arc(cairo, CGRectGetMaxX(rect) - r, CGRectGetMinY(rect) + r, r, -kQuarter, 0);
  cairo_arc(cairo, CGRectGetMaxX(rect) - r, CGRectGetMaxY(rect) - r, r, 0, kQuarter);
  cairo_arc(cairo, CGRectGetMinX(rect) + r, CGRectGetMaxY(rect) - r, r, kQuarter, 2 * kQuarter);
  cairo_arc(cairo, CGRectGetMinX(rect) + r, CGRectGetMinY(rect) + r, r, 2 * kQuarter, 3 * kQuarter);
  cairo_close_path(cairo);
}

}  // namespace

CairoCanvas::CairoCanvas(std::uint8_t* pixels, int width, int height, double scale)
    : surface_(surfaceOver(pixels, width, height)), context_(cairo_create(surface_.get())) {
  if (cairo_status(context_.get()) != CAIRO_STATUS_SUCCESS) throw std::bad_alloc();
  cairo_scale(context_.get(), scale, scale);
}

void CairoCanvas::save() { cairo_save(context_.get()); }

void CairoCanvas::restore() { cairo_restore(context_.get()); }

void CairoCanvas::beginLayer() { cairo_push_group(context_.get()); }

void CairoCanvas::endLayer(double alpha) {
  cairo_pop_group_to_source(context_.get());
  cairo_paint_with_alpha(context_.get(), alpha);
}

void CairoCanvas::translate(double dx, double dy) { cairo_translate(context_.get(), dx, dy); }

void CairoCanvas::clip(const CGRect& rect, double radius) {
  addRoundedRect(context_.get(), rect, radius);
  cairo_clip(context_.get());
}

CGRect CairoCanvas::clipBounds() const {
  double left, top, right, bottom;
  cairo_clip_extents(context_.get(), &left, &top, &right, &bottom);
  return left < right && top < bottom ? CGRectMake(left, top, right - left, bottom - top) : CGRectNull;
}

void CairoCanvas::fillRect(const CGRect& rect, double radius, Color color) {
  cairo_t* const cairo = context_.get();
  addRoundedRect(cairo, rect, radius);
  setSource(cairo, color);
  cairo_fill(cairo);
}

void CairoCanvas::strokeRect(const CGRect& rect, double radius, Color color, double width) {
  cairo_t* const cairo = context_.get();
  addRoundedRect(cairo, rect, radius);
  setSource(cairo, color);
  cairo_set_line_width(cairo, width);
  cairo_stroke(cairo);
}

void CairoCanvas::strokeLine(CGPoint from, CGPoint to, Color color, double width) {
  cairo_t* const cairo = context_.get();
  cairo_move_to(cairo, from.x, from.y);
  cairo_line_to(cairo, to.x, to.y);
  setSource(cairo, color);
  cairo_set_line_width(cairo, width);
  cairo_set_line_cap(cairo, CAIRO_LINE_CAP_ROUND);
  cairo_stroke(cairo);
}

void CairoCanvas::fillEllipse(const CGRect& rect, Color color) {
  cairo_t* const cairo = context_.get();
  cairo_save(cairo);
  cairo_translate(cairo, CGRectGetMidX(rect), CGRectGetMidY(rect));
  cairo_scale(cairo, rect.size.width / 2, rect.size.height / 2);
  cairo_arc(cairo, 0, 0, 1, 0, 2 * std::numbers::pi);
  cairo_restore(cairo);
  setSource(cairo, color);
  cairo_fill(cairo);
}

void CairoCanvas::drawImage(const Image& image, const CGRect& rect, Smoothing smoothing) {
  const CairoSurface surface = surfaceOver(image.pixels().data(), image.width(), image.height());
  paintStretched(context_.get(), surface.get(), rect,
                 smoothing == Smoothing::Simple ? CAIRO_FILTER_BILINEAR : CAIRO_FILTER_GOOD);
}

void CairoCanvas::drawText(std::string_view text, const CGRect& rect, const TextStyle& style) {
  const TextLayout layout(text, style.font, style.alignment, rect.size.width, style.numberOfLines,
                          rect.size.height);
  const double top = CGRectGetMidY(rect) - layout.size().height / 2;
  layout.draw(context_.get(), {rect.origin.x, top}, style.color);
}

void CairoCanvas::flush() { cairo_surface_flush(surface_.get()); }

}  // namespace platform
