#pragma once

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "platform/graphics/CGGeometry.h"
#include "platform/graphics/Color.h"
#include "platform/graphics/Image.h"
#include "platform/graphics/TextStyle.h"

namespace platform {

class Canvas;

// A sheet of pixels to draw on. Everything is given in points from the top left corner; a
// pixel that an edge crosses is covered in part.
//
// Shapes without area, or with coordinates that are not numbers, draw nothing. Rectangles may be of any size;
// other shapes, images and texts that reach further than 100,000 points beyond what is visible draw nothing.
// Used by one thread at a time; drawText by the main thread alone.
class BitmapContext {
 public:
  // What is there before anything is drawn. Over black every pixel stays opaque.
  enum class Backing { Clear, Black };

  // `scale` is the number of pixels to a point; a last part of a pixel counts as a whole one. Throws
  // std::invalid_argument when no image of that size is possible or the scale is above 64.
  BitmapContext(CGSize size, double scale, Backing backing = Backing::Clear);
  ~BitmapContext();
  BitmapContext(const BitmapContext&) = delete;
  BitmapContext& operator=(const BitmapContext&) = delete;

  // While it lives, translations and clips may be added; its end takes them back. Scopes end in reverse
  // order.
  class State {
   public:
    explicit State(BitmapContext& context);
    ~State();
    State(const State&) = delete;
    State& operator=(const State&) = delete;

   private:
    BitmapContext& context_;
  };

  // A State whose drawing is laid aside, and put down as one at its end with the given alpha. With an alpha
  // of 1 it costs no more than a State.
  class TransparencyLayer {
   public:
    TransparencyLayer(BitmapContext& context, double alpha);
    ~TransparencyLayer();
    TransparencyLayer(const TransparencyLayer&) = delete;
    TransparencyLayer& operator=(const TransparencyLayer&) = delete;

   private:
    const State state_;
    BitmapContext& context_;
    const double alpha_;
  };

  CGSize size() const { return size_; }
  double scale() const { return scale_; }

  void translate(double dx, double dy);
  void clip(const CGRect& rect);
  void clipRounded(const CGRect& rect, double radius);
  // Where drawing still shows, in present coordinates; null when it shows nowhere.
  CGRect clipBounds() const;

  void fillRect(const CGRect& rect, Color color);
  // A radius is cut to half of the shorter side.
  void fillRoundedRect(const CGRect& rect, double radius, Color color);
  // The middle of the line runs along the edge of the rectangle.
  void strokeRoundedRect(const CGRect& rect, double radius, Color color, double width);
  // With round ends.
  void strokeLine(CGPoint from, CGPoint to, Color color, double width);
  void fillEllipse(const CGRect& rect, Color color);
  // Stretched to fill the rectangle.
  void drawImage(const Image& image, const CGRect& rect);
  // Centred vertically, and clipped to the rectangle. What does not fit ends in an ellipsis. Bounds as for
  // sizeOfText.
  void drawText(std::string_view utf8, const CGRect& rect, const TextStyle& style);

  // What is drawn so far, copied. Not within a TransparencyLayer.
  std::shared_ptr<const Image> makeImage() const;
  // The same without a copy, of a context that is done with: only its end may follow.
  std::shared_ptr<const Image> takeImage() &&;

  // For views that are drawn by the toolkit whose Drawing is installed: what they draw by its own means falls
  // on the same pixels, under the same translation and clip.
  Canvas& canvas() { return *canvas_; }

 private:
  const CGSize size_;
  const double scale_;
  int columns_ = 0;  // pixels
  int rows_ = 0;
  std::vector<std::uint8_t> pixels_;
  std::unique_ptr<Canvas> canvas_;
};

}  // namespace platform
