#pragma once

#include <limits>
#include <string_view>

#include "platform/graphics/CGGeometry.h"
#include "platform/graphics/Color.h"
#include "platform/graphics/Font.h"

namespace platform {

// Of text that is written from right to left, Left and Right change places.
enum class TextAlignment { Left, Center, Right };

// How a text is drawn.
struct TextStyle {
  Font font = {};
  Color color = Color::label();
  TextAlignment alignment = TextAlignment::Left;
  int numberOfLines = 1;  // at most; 0: as many as there is room for
};

// The room that a text takes, in whole points: lines wrap between words at `maxWidth`, and at most
// `numberOfLines` are counted (0: any number). No room for an empty text, nor for a width or a font size that
// is not a positive number.
//
// Text of any length and any bytes may be given: ill-formed UTF-8 is repaired, and no more than 10,000
// characters and 1,000 lines are measured, or drawn. On the main thread.
CGSize sizeOfText(std::string_view utf8, const Font& font,
                  double maxWidth = std::numeric_limits<double>::infinity(), int numberOfLines = 0);

}  // namespace platform
