#pragma once

#include <pango/pangocairo.h>

#include <limits>
#include <memory>
#include <string_view>
#include <vector>

#include "platform/graphics/CGGeometry.h"
#include "platform/graphics/TextStyle.h"

namespace platform {

// A text, as a Drawing gets it, broken into lines that fit a width, a number of lines and a height, the last
// line ending in an ellipsis when something is left out. Lives for one measurement or one drawing, on the
// main thread.
class TextLayout {
 public:
  TextLayout(std::string_view text, const Font& font, TextAlignment alignment, double width,
             int numberOfLines, double height = std::numeric_limits<double>::infinity());

  CGSize size() const { return size_; }
  // The lines begin at `origin`, and are aligned within the width.
  void draw(cairo_t* cairo, CGPoint origin, Color color) const;

 private:
  struct Unref {
    void operator()(PangoLayout* layout) const { g_object_unref(layout); }
  };
  // One a paragraph: Pango limits the lines of each paragraph, not of all together.
  using Paragraph = std::unique_ptr<PangoLayout, Unref>;

  void breakIntoLines(std::string_view text, const Font& font, TextAlignment alignment, double width,
                      int limit);
  int linesWithin(double height) const;
  void measure();

  std::vector<Paragraph> paragraphs_;
  CGSize size_;  // points
};

}  // namespace platform
