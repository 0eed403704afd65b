#include "platform/graphics/BitmapContext.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <new>
#include <numbers>
#include <stdexcept>
#include <utility>
#include <vector>

#include "platform/graphics/internal/CairoHandles.h"
#include "platform/graphics/internal/TextLayout.h"

namespace platform {

struct BitmapContext::Canvas {
  CGSize size;
  double scale;
  std::vector<std::uint8_t> pixels;
  CairoSurface surface;  // over the pixels
  CairoContext cairo;
};

namespace {

// How far beyond what is visible drawing may reach, in points. With the largest scale, that is as far as
// Cairo's own coordinates go before they wrap around.
constexpr double kReach = 100'000;
constexpr double kMaximumScale = 64;

constexpr std::size_t kBytesPerPixel = 4;

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

CGRect visiblePart(cairo_t* cairo) {
  double left, top, right, bottom;
  cairo_clip_extents(cairo, &left, &top, &right, &bottom);
  return left < right && top < bottom ? CGRectMake(left, top, right - left, bottom - top) : CGRectNull;
}

CGRect reach(cairo_t* cairo) { return CGRectInset(visiblePart(cairo), -kReach, -kReach); }

// The part of a rectangle that can show, with enough around it to hide where it was cut; null when none can.
CGRect partWithinReach(cairo_t* cairo, const CGRect& rect) { return CGRectIntersection(rect, reach(cairo)); }

bool isWithinReach(cairo_t* cairo, const CGRect& rect) {
  const CGRect limits = reach(cairo);
  return !CGRectIsEmpty(rect) && CGRectContainsPoint(limits, rect.origin) &&
         CGRectContainsPoint(limits, {CGRectGetMaxX(rect), CGRectGetMaxY(rect)});
}

// The image itself or, where it is shown small, the smallest of its halvings that still has a pixel for each
// of those on the sheet: a good filter would read every pixel of a large image each time.
const Image& suitedFor(CGSize pixels, const Image& image) {
  const Image* suited = &image;
  while (suited->width() >= 2 * pixels.width && suited->height() >= 2 * pixels.height) {
    const Image* const halved = suited->halved();
    if (!halved) break;
    suited = halved;
  }
  return *suited;
}

// Of four neighbours, the simple filter; it leaves none out down to half the size.
cairo_filter_t filterFor(CGSize pixels, const Image& image) {
  const bool isSimple = image.width() < 2 * pixels.width && image.height() < 2 * pixels.height;
  return isSimple ? CAIRO_FILTER_BILINEAR : CAIRO_FILTER_GOOD;
}

bool isLineWidth(double width) { return width > 0 && width < kReach; }

}  // namespace

BitmapContext::BitmapContext(CGSize size, double scale, Backing backing) {
  const double width = std::ceil(size.width * scale);
  const double height = std::ceil(size.height * scale);
  if (!(scale > 0 && scale <= kMaximumScale) || !Image::isPossible(width, height)) {
    throw std::invalid_argument("a bitmap context of an impossible size");
  }
  const int columns = static_cast<int>(width);
  const int rows = static_cast<int>(height);
  std::vector<std::uint8_t> pixels(kBytesPerPixel * static_cast<std::size_t>(columns) *
                                   static_cast<std::size_t>(rows));
  CairoSurface surface = surfaceOver(pixels.data(), columns, rows);
  if (cairo_surface_status(surface.get()) != CAIRO_STATUS_SUCCESS) throw std::bad_alloc();
  CairoContext cairo(cairo_create(surface.get()));
  if (backing == Backing::Black) cairo_paint(cairo.get());  // black is the source of a fresh context
  cairo_scale(cairo.get(), scale, scale);
  canvas_ =
      std::make_unique<Canvas>(Canvas{size, scale, std::move(pixels), std::move(surface), std::move(cairo)});
}

BitmapContext::~BitmapContext() = default;

BitmapContext::State::State(BitmapContext& context) : context_(context) {
  cairo_save(context_.canvas_->cairo.get());
}

BitmapContext::State::~State() { cairo_restore(context_.canvas_->cairo.get()); }

BitmapContext::TransparencyLayer::TransparencyLayer(BitmapContext& context, double alpha)
    : state_(context), context_(context), alpha_(alpha > 0 ? std::min(alpha, 1.0) : 0) {
  if (alpha_ < 1) cairo_push_group(context_.canvas_->cairo.get());
}

BitmapContext::TransparencyLayer::~TransparencyLayer() {
  if (alpha_ == 1) return;
  cairo_t* cairo = context_.canvas_->cairo.get();
  cairo_pop_group_to_source(cairo);
  cairo_paint_with_alpha(cairo, alpha_);
}

CGSize BitmapContext::size() const { return canvas_->size; }

double BitmapContext::scale() const { return canvas_->scale; }

void BitmapContext::translate(double dx, double dy) {
  if (std::isfinite(dx) && std::isfinite(dy)) cairo_translate(canvas_->cairo.get(), dx, dy);
}

void BitmapContext::clip(const CGRect& rect) { clipRounded(rect, 0); }

void BitmapContext::clipRounded(const CGRect& rect, double radius) {
  cairo_t* cairo = canvas_->cairo.get();
  const CGRect part = partWithinReach(cairo, rect);
  addRoundedRect(cairo, CGRectIsNull(part) ? CGRectZero : part, radius);
  cairo_clip(cairo);
}

CGRect BitmapContext::clipBounds() const { return visiblePart(canvas_->cairo.get()); }

void BitmapContext::fillRect(const CGRect& rect, Color color) { fillRoundedRect(rect, 0, color); }

void BitmapContext::fillRoundedRect(const CGRect& rect, double radius, Color color) {
  cairo_t* cairo = canvas_->cairo.get();
  const CGRect part = partWithinReach(cairo, rect);
  if (CGRectIsNull(part)) return;
  addRoundedRect(cairo, part, radius);
  setSource(cairo, color);
  cairo_fill(cairo);
}

void BitmapContext::strokeRoundedRect(const CGRect& rect, double radius, Color color, double width) {
  cairo_t* cairo = canvas_->cairo.get();
  const CGRect part = partWithinReach(cairo, rect);
  if (CGRectIsNull(part) || !isLineWidth(width)) return;
  addRoundedRect(cairo, part, radius);
  setSource(cairo, color);
  cairo_set_line_width(cairo, width);
  cairo_stroke(cairo);
}

void BitmapContext::strokeLine(CGPoint from, CGPoint to, Color color, double width) {
  cairo_t* cairo = canvas_->cairo.get();
  const CGRect limits = reach(cairo);
  if (!CGRectContainsPoint(limits, from) || !CGRectContainsPoint(limits, to) || !isLineWidth(width)) return;
  cairo_move_to(cairo, from.x, from.y);
  cairo_line_to(cairo, to.x, to.y);
  setSource(cairo, color);
  cairo_set_line_width(cairo, width);
  cairo_set_line_cap(cairo, CAIRO_LINE_CAP_ROUND);
  cairo_stroke(cairo);
}

void BitmapContext::fillEllipse(const CGRect& rect, Color color) {
  cairo_t* cairo = canvas_->cairo.get();
  if (!isWithinReach(cairo, rect)) return;
  cairo_save(cairo);
  cairo_translate(cairo, CGRectGetMidX(rect), CGRectGetMidY(rect));
  cairo_scale(cairo, rect.size.width / 2, rect.size.height / 2);
  cairo_arc(cairo, 0, 0, 1, 0, 2 * std::numbers::pi);
  cairo_restore(cairo);
  setSource(cairo, color);
  cairo_fill(cairo);
}

void BitmapContext::drawImage(const Image& image, const CGRect& rect) {
  cairo_t* cairo = canvas_->cairo.get();
  if (!isWithinReach(cairo, rect)) return;
  const CGSize pixels{rect.size.width * canvas_->scale, rect.size.height * canvas_->scale};
  const Image& suited = suitedFor(pixels, image);
  const CairoSurface surface = surfaceOver(suited.pixels().data(), suited.width(), suited.height());
  paintStretched(cairo, surface.get(), rect, filterFor(pixels, suited));
}

void BitmapContext::drawText(std::string_view utf8, const CGRect& rect, const TextStyle& style) {
  cairo_t* cairo = canvas_->cairo.get();
  if (!isWithinReach(cairo, rect) || !CGRectIntersectsRect(rect, visiblePart(cairo))) return;
  const TextLayout layout(utf8, style.font, style.alignment, rect.size.width, style.numberOfLines,
                          rect.size.height);
  const State state(*this);
  clip(rect);
  const double top = CGRectGetMidY(rect) - layout.size().height / 2;
  layout.draw(cairo, {rect.origin.x, top}, style.color);
}

std::shared_ptr<const Image> BitmapContext::makeImage() const {
  cairo_surface_t* surface = canvas_->surface.get();
  cairo_surface_flush(surface);
  return Image::create(cairo_image_surface_get_width(surface), cairo_image_surface_get_height(surface),
                       canvas_->scale, canvas_->pixels);
}

std::shared_ptr<const Image> BitmapContext::takeImage() && {
  const std::unique_ptr<Canvas> canvas = std::move(canvas_);
  const int width = cairo_image_surface_get_width(canvas->surface.get());
  const int height = cairo_image_surface_get_height(canvas->surface.get());
  canvas->cairo.reset();
  cairo_surface_finish(canvas->surface.get());  // nobody draws on the pixels any more
  return Image::create(width, height, canvas->scale, std::move(canvas->pixels));
}

}  // namespace platform
