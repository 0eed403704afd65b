#include <algorithm>
#include <cmath>

#include "platform/foundation/CodePoints.h"
#include "platform/foundation/String.h"
#include "platform/graphics/Drawing.h"
#include "platform/graphics/TextStyle.h"
#include "platform/graphics/internal/DrawableText.h"

namespace platform {

namespace {

constexpr std::string_view kEllipsis = "…";
constexpr double kMaximumCharacters = 10'000;
// Points that a line of that many characters may take.
constexpr double kMaximumWidth = 1'000'000;

// The first characters of well-formed text.
std::string_view prefix(std::string_view text, std::size_t characters) {
  std::size_t end = 0;
  for (; end < text.size(); ++end) {
    if (!isContinuationByte(text[end]) && characters-- == 0) break;
  }
  return text.substr(0, end);
}

}  // namespace

std::string drawableText(std::string_view utf8, double fontSize) {
  const auto limit = static_cast<std::size_t>(std::min(kMaximumCharacters, kMaximumWidth / fontSize));
  constexpr std::size_t kLongestCharacter = 4;
  const std::string repaired = wellFormedUTF8(utf8.substr(0, (limit + 1) * kLongestCharacter));
  std::string text(prefix(repaired, limit));
  std::replace(text.begin(), text.end(), '\0', ' ');
  if (text.size() < repaired.size()) text += kEllipsis;
  return text;
}

CGSize sizeOfText(std::string_view utf8, const Font& font, double maxWidth, int numberOfLines) {
  if (utf8.empty() || !(font.size > 0 && maxWidth > 0)) return {};
  const std::string text = drawableText(utf8, font.size);
  const CGSize exact = Drawing::current().sizeOfText(text, font, maxWidth, numberOfLines);
  return {std::ceil(exact.width), std::ceil(exact.height)};
}

}  // namespace platform
