#include "platform/drawing/internal/CairoCanvas.h"
#include "platform/drawing/internal/PNG.h"
#include "platform/drawing/internal/TextLayout.h"
#include "platform/graphics/Drawing.h"
#include "platform/graphics/Image.h"
#include "platform/runtime/Export.h"

namespace platform {

namespace {

class CairoDrawing : public Drawing {
 public:
  std::unique_ptr<Canvas> makeCanvas(std::uint8_t* pixels, int width, int height, double scale) override {
    return std::make_unique<CairoCanvas>(pixels, width, height, scale);
  }

  CGSize sizeOfText(std::string_view text, const Font& font, double maxWidth, int numberOfLines) override {
    return TextLayout(text, font, TextAlignment::Left, maxWidth, numberOfLines).size();
  }

  std::string encodePNG(const Image& image) override { return encodedPNG(image); }
};

}  // namespace

}  // namespace platform

extern "C" PLATFORM_EXPORT platform::Drawing* PLATFORM_ENTRY(platformDrawing)() {
  static platform::Drawing& drawing = *new platform::CairoDrawing;
  return &drawing;
}
