#pragma once

#include <cairo.h>

#include <cstdint>
#include <memory>

#include "platform/graphics/CGGeometry.h"

namespace platform {

// Cairo's objects with one owner each.
struct CairoDestroy {
  void operator()(cairo_t* cairo) const { cairo_destroy(cairo); }
  void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
};

using CairoContext = std::unique_ptr<cairo_t, CairoDestroy>;
using CairoSurface = std::unique_ptr<cairo_surface_t, CairoDestroy>;

// A surface over pixels of four bytes that outlive it, in rows without padding.
CairoSurface surfaceOver(const std::uint8_t* pixels, int width, int height,
                         cairo_format_t format = CAIRO_FORMAT_ARGB32);

// Paints the whole of an image surface, stretched, into the rectangle of the present coordinates.
void paintStretched(cairo_t* cairo, cairo_surface_t* image, const CGRect& rect,
                    cairo_filter_t filter = CAIRO_FILTER_GOOD);

}  // namespace platform
