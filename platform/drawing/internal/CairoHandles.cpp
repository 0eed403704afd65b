#include "platform/drawing/internal/CairoHandles.h"

#include <bit>

namespace platform {

static_assert(std::endian::native == std::endian::little, "Cairo's pixels are words, the image's are bytes");

CairoSurface surfaceOver(const std::uint8_t* pixels, int width, int height, cairo_format_t format) {
  // Cairo has one type for what is read and what is written.
  return CairoSurface(cairo_image_surface_create_for_data(const_cast<std::uint8_t*>(pixels), format, width,
                                                          height,
                                                          cairo_format_stride_for_width(format, width)));
}

void paintStretched(cairo_t* cairo, cairo_surface_t* image, const CGRect& rect, cairo_filter_t filter) {
  cairo_save(cairo);
  cairo_rectangle(cairo, rect.origin.x, rect.origin.y, rect.size.width, rect.size.height);
  cairo_clip(cairo);
  cairo_translate(cairo, rect.origin.x, rect.origin.y);
  cairo_scale(cairo, rect.size.width / cairo_image_surface_get_width(image),
              rect.size.height / cairo_image_surface_get_height(image));
  cairo_set_source_surface(cairo, image, 0, 0);
  // Otherwise the border would mix with the nothing around it.
  cairo_pattern_set_extend(cairo_get_source(cairo), CAIRO_EXTEND_PAD);
  cairo_pattern_set_filter(cairo_get_source(cairo), filter);
  cairo_paint(cairo);
  cairo_restore(cairo);
}

}  // namespace platform
