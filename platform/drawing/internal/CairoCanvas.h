#pragma once

#include "platform/drawing/internal/CairoHandles.h"
#include "platform/graphics/Drawing.h"

namespace platform {

class CairoCanvas : public Canvas {
 public:
  // The pixels outlive it. Throws std::bad_alloc.
  CairoCanvas(std::uint8_t* pixels, int width, int height, double scale);

  void save() override;
  void restore() override;
  void beginLayer() override;
  void endLayer(double alpha) override;
  void translate(double dx, double dy) override;
  void clip(const CGRect& rect, double radius) override;
  CGRect clipBounds() const override;
  void fillRect(const CGRect& rect, double radius, Color color) override;
  void strokeRect(const CGRect& rect, double radius, Color color, double width) override;
  void strokeLine(CGPoint from, CGPoint to, Color color, double width) override;
  void fillEllipse(const CGRect& rect, Color color) override;
  void drawImage(const Image& image, const CGRect& rect, Smoothing smoothing) override;
  void drawText(std::string_view text, const CGRect& rect, const TextStyle& style) override;
  void flush() override;

 private:
  const CairoSurface surface_;
  const CairoContext context_;
};

}  // namespace platform
