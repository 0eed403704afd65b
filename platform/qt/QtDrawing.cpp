#include "platform/qt/QtDrawing.h"

#include <QBuffer>
#include <QFontMetricsF>
#include <QImage>
#include <QPainter>
#include <QPainterPath>
#include <algorithm>
#include <cmath>
#include <optional>
#include <utility>
#include <vector>

#include "platform/graphics/Drawing.h"
#include "platform/graphics/Image.h"

namespace platform {

namespace {

constexpr auto kFormat = QImage::Format_ARGB32_Premultiplied;
constexpr double kUnbounded = 1e6;  // points
constexpr int kQuickPNG = 90;       // of 100, by which Qt compresses least

QString textOf(std::string_view text) { return QString::fromUtf8(text.data(), qsizetype(text.size())); }

QRectF rectOf(const CGRect& rect) {
  return {rect.origin.x, rect.origin.y, rect.size.width, rect.size.height};
}

QFont fontOf(const Font& font) {
  QFont made;
  made.setPixelSize(std::max(1, int(std::lround(font.size))));
  made.setBold(font.weight == Font::Weight::Bold);
  return made;
}

// A view of the image's own pixels.
QImage pictureOf(const Image& image) {
  return {image.pixels().data(), image.width(), image.height(), 4 * image.width(), kFormat};
}

QPainterPath rounded(const CGRect& rect, double radius) {
  QPainterPath path;
  path.addRoundedRect(rectOf(rect), radius, radius);
  return path;
}

int flagsOf(const TextStyle& style) {
  int flags = Qt::AlignVCenter | (style.numberOfLines == 1 ? Qt::TextSingleLine : Qt::TextWordWrap);
  switch (style.alignment) {
    case TextAlignment::Center:
      return flags | Qt::AlignHCenter;
    case TextAlignment::Right:
      return flags | Qt::AlignRight;
    default:
      return flags | Qt::AlignLeft;
  }
}

// A layer is a sheet of its own, put down on the one below at its end.
class QtCanvas final : public Canvas {
 public:
  QtCanvas(std::uint8_t* pixels, int width, int height, double scale) {
    push(QImage(pixels, width, height, 4 * width, kFormat));
    painter().scale(scale, scale);
  }
  ~QtCanvas() override {
    while (!sheets_.empty()) sheets_.pop_back();
  }

  void save() override { painter().save(); }
  void restore() override { painter().restore(); }
  void beginLayer() override {
    const QPainter& below = painter();
    QImage sheet(sheets_.back()->image.size(), kFormat);
    sheet.fill(Qt::transparent);
    const QTransform transform = below.transform();
    const auto clip = below.hasClipping() ? std::optional(below.clipPath()) : std::nullopt;
    push(std::move(sheet));
    painter().setTransform(transform);
    if (clip) painter().setClipPath(*clip);
  }
  void endLayer(double alpha) override {
    const std::unique_ptr<Sheet> layer = std::move(sheets_.back());
    sheets_.pop_back();
    layer->painter.end();
    painter().save();
    painter().resetTransform();
    painter().setOpacity(alpha);
    painter().drawImage(0, 0, layer->image);
    painter().restore();
  }

  void translate(double dx, double dy) override { painter().translate(dx, dy); }
  void clip(const CGRect& rect, double radius) override {
    painter().setClipPath(rounded(rect, radius), Qt::IntersectClip);
  }
  CGRect clipBounds() const override {
    const Sheet& sheet = *sheets_.back();
    const QRectF bounds = sheet.painter.hasClipping()
                              ? sheet.painter.clipBoundingRect()
                              : sheet.painter.transform().inverted().mapRect(QRectF(sheet.image.rect()));
    if (bounds.isEmpty()) return CGRectNull;
    return {{bounds.x(), bounds.y()}, {bounds.width(), bounds.height()}};
  }

  void fillRect(const CGRect& rect, double radius, Color color) override {
    painter().fillPath(rounded(rect, radius), colorOf(color));
  }
  void strokeRect(const CGRect& rect, double radius, Color color, double width) override {
    painter().strokePath(rounded(rect, radius), QPen(colorOf(color), width));
  }
  void strokeLine(CGPoint from, CGPoint to, Color color, double width) override {
    painter().setPen(QPen(colorOf(color), width));
    painter().drawLine(QPointF(from.x, from.y), QPointF(to.x, to.y));
  }
  void fillEllipse(const CGRect& rect, Color color) override {
    painter().setPen(Qt::NoPen);
    painter().setBrush(colorOf(color));
    painter().drawEllipse(rectOf(rect));
  }
  void drawImage(const Image& image, const CGRect& rect, Smoothing) override {
    painter().drawImage(rectOf(rect), pictureOf(image));
  }
  void drawText(std::string_view text, const CGRect& rect, const TextStyle& style) override {
    painter().setFont(fontOf(style.font));
    painter().setPen(colorOf(style.color));
    painter().drawText(rectOf(rect), flagsOf(style), textOf(text));
  }
  void flush() override {}

 private:
  struct Sheet {
    explicit Sheet(QImage pixels) : image(std::move(pixels)), painter(&image) {
      painter.setRenderHints(QPainter::Antialiasing | QPainter::TextAntialiasing |
                             QPainter::SmoothPixmapTransform);
    }
    QImage image;
    QPainter painter;
  };

  QPainter& painter() { return sheets_.back()->painter; }
  void push(QImage image) { sheets_.push_back(std::make_unique<Sheet>(std::move(image))); }

  std::vector<std::unique_ptr<Sheet>> sheets_;
};

class QtDrawing final : public Drawing {
 public:
  std::unique_ptr<Canvas> makeCanvas(std::uint8_t* pixels, int width, int height, double scale) override {
    return std::make_unique<QtCanvas>(pixels, width, height, scale);
  }

  CGSize sizeOfText(std::string_view text, const Font& font, double maxWidth, int numberOfLines) override {
    const QFontMetricsF metrics(fontOf(font));
    const QRectF room(0, 0, std::min(maxWidth, kUnbounded), kUnbounded);
    const QRectF taken = metrics.boundingRect(room, Qt::TextWordWrap, textOf(text));
    const double most = numberOfLines > 0 ? numberOfLines * metrics.lineSpacing() : kUnbounded;
    return {taken.width(), std::min(taken.height(), most)};
  }

  std::string encodePNG(const Image& image) override {
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    return pictureOf(image).save(&buffer, "PNG", kQuickPNG) ? bytes.toStdString() : std::string();
  }
};

}  // namespace

QColor colorOf(const Color& color) {
  return QColor::fromRgbF(float(color.red), float(color.green), float(color.blue), float(color.alpha));
}

std::shared_ptr<const Image> imageOf(const QImage& picture, double pixelsPerPoint) {
  const QImage image = picture.convertToFormat(kFormat);
  std::vector<std::uint8_t> pixels;
  pixels.reserve(std::size_t(image.sizeInBytes()));
  for (int row = 0; row < image.height(); ++row) {
    const uchar* const line = image.constScanLine(row);
    pixels.insert(pixels.end(), line, line + std::ptrdiff_t(4) * image.width());
  }
  return Image::create(image.width(), image.height(), pixelsPerPoint, std::move(pixels));
}

void installQtDrawing() { Drawing::install(*new QtDrawing); }

}  // namespace platform
