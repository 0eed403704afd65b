#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "platform/graphics/CGGeometry.h"
#include "platform/graphics/Color.h"
#include "platform/graphics/Font.h"
#include "platform/graphics/TextStyle.h"

namespace platform {

class Image;

// What draws on the pixels of one BitmapContext, which sees to it that nothing without area or out of reach,
// and no number that is none, comes here. Points and threads as there.
class Canvas {
 public:
  virtual ~Canvas() = default;

  // What a translation or a clip changes, put aside and taken back, in pairs.
  virtual void save() = 0;
  virtual void restore() = 0;
  // Drawing is laid aside, and put down as one with an alpha of less than 1. Within a save and its restore.
  virtual void beginLayer() = 0;
  virtual void endLayer(double alpha) = 0;

  virtual void translate(double dx, double dy) = 0;
  // An empty rectangle leaves nothing to be seen. Corners are square with a radius of 0.
  virtual void clip(const CGRect& rect, double radius) = 0;
  // Null when drawing shows nowhere.
  virtual CGRect clipBounds() const = 0;

  virtual void fillRect(const CGRect& rect, double radius, Color color) = 0;
  virtual void strokeRect(const CGRect& rect, double radius, Color color, double width) = 0;
  virtual void strokeLine(CGPoint from, CGPoint to, Color color, double width) = 0;
  virtual void fillEllipse(const CGRect& rect, Color color) = 0;

  // Simple: of four neighbours, for an image of less than twice the size. Good: of all that a pixel covers.
  enum class Smoothing { Simple, Good };
  virtual void drawImage(const Image& image, const CGRect& rect, Smoothing smoothing) = 0;
  // As BitmapContext::drawText; the text is well-formed, without NUL and of bounded length, the font's size a
  // positive number.
  virtual void drawText(std::string_view text, const CGRect& rect, const TextStyle& style) = 0;

  // Everything drawn so far stands in the pixels.
  virtual void flush() = 0;
};

// What draws, measures text and knows PNG: one in a process. A host whose toolkit can do so installs its own
// before anything is drawn or measured, and nothing else is loaded then. Otherwise it is that of
// platform/drawing, loaded by the first that draws or measures; where there is none, nothing is drawn and no
// text takes room.
class Drawing {
 public:
  virtual ~Drawing() = default;

  // The drawing lives as long as the process. Main thread.
  static void install(Drawing& drawing);
  static Drawing& current();  // any thread
  static bool isAvailable();  // any thread; loads what there is to load

  // Over pixels as those of an Image, which outlive it. Throws std::bad_alloc.
  virtual std::unique_ptr<Canvas> makeCanvas(std::uint8_t* pixels, int width, int height, double scale) = 0;
  // As the function of that name, not rounded; text as for Canvas::drawText, `maxWidth` above 0.
  virtual CGSize sizeOfText(std::string_view text, const Font& font, double maxWidth, int numberOfLines) = 0;
  // As Image::PNGRepresentation. Any thread.
  virtual std::string encodePNG(const Image& image) = 0;
};

}  // namespace platform
