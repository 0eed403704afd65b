#include "platform/drawing/internal/TextLayout.h"

#include <algorithm>
#include <cmath>
#include <string>

namespace platform {

namespace {

constexpr const char* kFamily = "sans-serif";
constexpr const char* kEllipsis = "…";

constexpr int kMaximumLines = 1'000;
constexpr double kMaximumFontSize = 1'000;  // points
// Points; Pango counts in 1/1024 of a point, as an int.
constexpr double kMaximumWidth = 1'000'000;

// Room for the rounding between a height that was measured and the one that comes back.
constexpr double kSlack = 0.01;

double points(int pangoUnits) { return static_cast<double>(pangoUnits) / PANGO_SCALE; }

PangoContext* newContext() {
  PangoContext* context = pango_font_map_create_context(pango_cairo_font_map_new());
  // Lines break in the same places at every scale.
  pango_context_set_round_glyph_positions(context, FALSE);
  cairo_font_options_t* options = cairo_font_options_create();
  cairo_font_options_set_antialias(options, CAIRO_ANTIALIAS_GRAY);
  cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_NONE);
  cairo_font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_OFF);
  pango_cairo_context_set_font_options(context, options);
  cairo_font_options_destroy(options);
  return context;
}

// Finding fonts takes tens of milliseconds the first time. Pango's objects belong to one thread.
PangoContext* sharedContext() {
  thread_local PangoContext* context = newContext();
  return context;
}

PangoWeight pangoWeight(Font::Weight weight) {
  switch (weight) {
    case Font::Weight::Regular:
      return PANGO_WEIGHT_NORMAL;
    case Font::Weight::Medium:
      return PANGO_WEIGHT_MEDIUM;
    case Font::Weight::Bold:
      return PANGO_WEIGHT_BOLD;
  }
  return PANGO_WEIGHT_NORMAL;
}

PangoAlignment pangoAlignment(TextAlignment alignment) {
  switch (alignment) {
    case TextAlignment::Left:
      return PANGO_ALIGN_LEFT;
    case TextAlignment::Center:
      return PANGO_ALIGN_CENTER;
    case TextAlignment::Right:
      return PANGO_ALIGN_RIGHT;
  }
  return PANGO_ALIGN_LEFT;
}

void setFont(PangoLayout* layout, const Font& font) {
  PangoFontDescription* description = pango_font_description_new();
  pango_font_description_set_family_static(description, kFamily);
  pango_font_description_set_weight(description, pangoWeight(font.weight));
  pango_font_description_set_absolute_size(description, std::min(font.size, kMaximumFontSize) * PANGO_SCALE);
  pango_layout_set_font_description(layout, description);
  pango_font_description_free(description);
}

void setText(PangoLayout* layout, std::string_view text) {
  pango_layout_set_text(layout, text.data(), static_cast<int>(text.size()));
}

}  // namespace

TextLayout::TextLayout(std::string_view text, const Font& font, TextAlignment alignment, double width,
                       int numberOfLines, double height) {
  const int limit = numberOfLines > 0 ? std::min(numberOfLines, kMaximumLines) : kMaximumLines;
  breakIntoLines(text, font, alignment, width, limit);
  const int fitting = linesWithin(height);
  if (fitting < limit && size_.height > height + kSlack) {
    breakIntoLines(text, font, alignment, width, fitting);
  }
}

void TextLayout::breakIntoLines(std::string_view text, const Font& font, TextAlignment alignment,
                                double width, int limit) {
  paragraphs_.clear();
  while (!text.empty() && limit > 0) {
    int length = 0;
    int next = 0;
    pango_find_paragraph_boundary(text.data(), static_cast<int>(text.size()), &length, &next);
    const std::string_view paragraph = text.substr(0, static_cast<std::size_t>(length));
    text.remove_prefix(static_cast<std::size_t>(next));

    PangoLayout* layout = paragraphs_.emplace_back(pango_layout_new(sharedContext())).get();
    setFont(layout, font);
    pango_layout_set_alignment(layout, pangoAlignment(alignment));
    pango_layout_set_width(layout, static_cast<int>(std::min(width, kMaximumWidth) * PANGO_SCALE));
    pango_layout_set_wrap(layout, PANGO_WRAP_WORD_CHAR);
    pango_layout_set_ellipsize(layout, PANGO_ELLIPSIZE_END);
    pango_layout_set_height(layout, -limit);
    setText(layout, paragraph);
    limit -= pango_layout_get_line_count(layout);
    if (limit <= 0 && !text.empty()) setText(layout, std::string(paragraph) + kEllipsis);
  }
  measure();
}

void TextLayout::measure() {
  size_ = {};
  for (const Paragraph& paragraph : paragraphs_) {
    PangoRectangle logical;
    pango_layout_get_extents(paragraph.get(), nullptr, &logical);
    size_.width = std::max(size_.width, points(logical.width));
    size_.height += points(logical.height);
  }
}

// How many of the lines end above `height`; at least one is shown, if only in part.
int TextLayout::linesWithin(double height) const {
  int lines = 0;
  double bottom = 0;
  for (const Paragraph& paragraph : paragraphs_) {
    const int count = pango_layout_get_line_count(paragraph.get());
    for (int i = 0; i < count; ++i) {
      int lineHeight = 0;
      pango_layout_line_get_height(pango_layout_get_line_readonly(paragraph.get(), i), &lineHeight);
      bottom += points(lineHeight);
      if (bottom > height + kSlack) return std::max(lines, 1);
      ++lines;
    }
  }
  return std::max(lines, 1);
}

void TextLayout::draw(cairo_t* cairo, CGPoint origin, Color color) const {
  cairo_set_source_rgba(cairo, color.red, color.green, color.blue, color.alpha);
  pango_cairo_update_context(cairo, sharedContext());
  for (const Paragraph& paragraph : paragraphs_) {
    PangoRectangle logical;
    pango_layout_get_extents(paragraph.get(), nullptr, &logical);
    cairo_move_to(cairo, origin.x, origin.y);
    pango_cairo_show_layout(cairo, paragraph.get());
    origin.y += points(logical.height);
  }
}

}  // namespace platform
