#include "platform/graphics/Drawing.h"

#include <atomic>

#include "platform/foundation/SeparatePart.h"
#include "platform/runtime/Export.h"

#ifndef PLATFORM_DRAWING_LIBRARY  // of static libraries
#define PLATFORM_DRAWING_LIBRARY nullptr
#endif

// Programs that have the part linked in define it.
extern "C" __attribute__((weak)) platform::Drawing* PLATFORM_ENTRY(platformDrawing)();

namespace platform {

namespace {

class BlindCanvas : public Canvas {
 public:
  void save() override {}
  void restore() override {}
  void beginLayer() override {}
  void endLayer(double) override {}
  void translate(double, double) override {}
  void clip(const CGRect&, double) override {}
  CGRect clipBounds() const override { return CGRectNull; }
  void fillRect(const CGRect&, double, Color) override {}
  void strokeRect(const CGRect&, double, Color, double) override {}
  void strokeLine(CGPoint, CGPoint, Color, double) override {}
  void fillEllipse(const CGRect&, Color) override {}
  void drawImage(const Image&, const CGRect&, Smoothing) override {}
  void drawText(std::string_view, const CGRect&, const TextStyle&) override {}
  void flush() override {}
};

// Where there is nothing to draw with.
class NoDrawing : public Drawing {
 public:
  std::unique_ptr<Canvas> makeCanvas(std::uint8_t*, int, int, double) override {
    return std::make_unique<BlindCanvas>();
  }
  CGSize sizeOfText(std::string_view, const Font&, double, int) override { return {}; }
  std::string encodePNG(const Image&) override { return {}; }
};

std::atomic<Drawing*> installed = nullptr;

// Null where there is none.
Drawing* find() {
  if (Drawing* const drawing = installed.load(std::memory_order_acquire)) return drawing;
  static auto& part = *new SeparatePart<Drawing>(PLATFORM_ENTRY(platformDrawing), PLATFORM_DRAWING_LIBRARY,
                                                 PLATFORM_ENTRY_NAME(platformDrawing));
  return part.get();
}

}  // namespace

void Drawing::install(Drawing& drawing) { installed.store(&drawing, std::memory_order_release); }

Drawing& Drawing::current() {
  static Drawing& none = *new NoDrawing;
  Drawing* const drawing = find();
  return drawing ? *drawing : none;
}

bool Drawing::isAvailable() { return find() != nullptr; }

}  // namespace platform
