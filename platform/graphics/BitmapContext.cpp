#include "platform/graphics/BitmapContext.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <utility>

#include "platform/graphics/Drawing.h"
#include "platform/graphics/internal/DrawableText.h"

namespace platform {

namespace {

// How far beyond what is visible drawing may reach, in points. With the largest scale, that is as far as
// drawings can count before they wrap around.
constexpr double kReach = 100'000;
constexpr double kMaximumScale = 64;

constexpr std::size_t kBytesPerPixel = 4;

CGRect reach(const Canvas& canvas) { return CGRectInset(canvas.clipBounds(), -kReach, -kReach); }

// The part of a rectangle that can show, with enough around it to hide where it was cut; null when none can.
CGRect partWithinReach(const Canvas& canvas, const CGRect& rect) {
  return CGRectIntersection(rect, reach(canvas));
}

bool isWithinReach(const Canvas& canvas, const CGRect& rect) {
  const CGRect limits = reach(canvas);
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
Canvas::Smoothing smoothingFor(CGSize pixels, const Image& image) {
  const bool isSimple = image.width() < 2 * pixels.width && image.height() < 2 * pixels.height;
  return isSimple ? Canvas::Smoothing::Simple : Canvas::Smoothing::Good;
}

bool isLineWidth(double width) { return width > 0 && width < kReach; }

}  // namespace

BitmapContext::BitmapContext(CGSize size, double scale, Backing backing) : size_(size), scale_(scale) {
  const double width = std::ceil(size.width * scale);
  const double height = std::ceil(size.height * scale);
  if (!(scale > 0 && scale <= kMaximumScale) || !Image::isPossible(width, height)) {
    throw std::invalid_argument("a bitmap context of an impossible size");
  }
  columns_ = static_cast<int>(width);
  rows_ = static_cast<int>(height);
  pixels_.resize(kBytesPerPixel * static_cast<std::size_t>(columns_) * static_cast<std::size_t>(rows_));
  if (backing == Backing::Black) {
    for (std::size_t alpha = 3; alpha < pixels_.size(); alpha += kBytesPerPixel) pixels_[alpha] = 0xFF;
  }
  canvas_ = Drawing::current().makeCanvas(pixels_.data(), columns_, rows_, scale);
}

BitmapContext::~BitmapContext() = default;

BitmapContext::State::State(BitmapContext& context) : context_(context) { context_.canvas_->save(); }

BitmapContext::State::~State() { context_.canvas_->restore(); }

BitmapContext::TransparencyLayer::TransparencyLayer(BitmapContext& context, double alpha)
    : state_(context), context_(context), alpha_(alpha > 0 ? std::min(alpha, 1.0) : 0) {
  if (alpha_ < 1) context_.canvas_->beginLayer();
}

BitmapContext::TransparencyLayer::~TransparencyLayer() {
  if (alpha_ < 1) context_.canvas_->endLayer(alpha_);
}

void BitmapContext::translate(double dx, double dy) {
  if (std::isfinite(dx) && std::isfinite(dy)) canvas_->translate(dx, dy);
}

void BitmapContext::clip(const CGRect& rect) { clipRounded(rect, 0); }

void BitmapContext::clipRounded(const CGRect& rect, double radius) {
  const CGRect part = partWithinReach(*canvas_, rect);
  canvas_->clip(CGRectIsNull(part) ? CGRectZero : part, radius);
}

CGRect BitmapContext::clipBounds() const { return canvas_->clipBounds(); }

void BitmapContext::fillRect(const CGRect& rect, Color color) { fillRoundedRect(rect, 0, color); }

void BitmapContext::fillRoundedRect(const CGRect& rect, double radius, Color color) {
  const CGRect part = partWithinReach(*canvas_, rect);
  if (!CGRectIsNull(part)) canvas_->fillRect(part, radius, color);
}

void BitmapContext::strokeRoundedRect(const CGRect& rect, double radius, Color color, double width) {
  const CGRect part = partWithinReach(*canvas_, rect);
  if (!CGRectIsNull(part) && isLineWidth(width)) canvas_->strokeRect(part, radius, color, width);
}

void BitmapContext::strokeLine(CGPoint from, CGPoint to, Color color, double width) {
  const CGRect limits = reach(*canvas_);
  if (!CGRectContainsPoint(limits, from) || !CGRectContainsPoint(limits, to) || !isLineWidth(width)) return;
  canvas_->strokeLine(from, to, color, width);
}

void BitmapContext::fillEllipse(const CGRect& rect, Color color) {
  if (isWithinReach(*canvas_, rect)) canvas_->fillEllipse(rect, color);
}

void BitmapContext::drawImage(const Image& image, const CGRect& rect) {
  if (!isWithinReach(*canvas_, rect)) return;
  const CGSize pixels{rect.size.width * scale_, rect.size.height * scale_};
  const Image& suited = suitedFor(pixels, image);
  canvas_->drawImage(suited, rect, smoothingFor(pixels, suited));
}

void BitmapContext::drawText(std::string_view utf8, const CGRect& rect, const TextStyle& style) {
  if (!isWithinReach(*canvas_, rect) || !CGRectIntersectsRect(rect, clipBounds())) return;
  if (!(style.font.size > 0)) return;
  const State state(*this);
  clip(rect);
  canvas_->drawText(drawableText(utf8, style.font.size), rect, style);
}

std::shared_ptr<const Image> BitmapContext::makeImage() const {
  canvas_->flush();
  return Image::create(columns_, rows_, scale_, pixels_);
}

std::shared_ptr<const Image> BitmapContext::takeImage() && {
  canvas_->flush();
  canvas_.reset();  // nobody draws on the pixels any more
  return Image::create(columns_, rows_, scale_, std::move(pixels_));
}

}  // namespace platform
