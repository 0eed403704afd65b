#pragma once

namespace platform {

// A colour of the sRGB space. Components lie between 0 and 1 and are not multiplied by alpha.
struct Color {
  double red = 0;
  double green = 0;
  double blue = 0;
  double alpha = 1;

  friend constexpr bool operator==(const Color&, const Color&) = default;

  constexpr Color withAlpha(double newAlpha) const { return {red, green, blue, newAlpha}; }

  static constexpr Color fromRGB(unsigned rgb) {
    return {(rgb >> 16 & 0xFF) / 255.0, (rgb >> 8 & 0xFF) / 255.0, (rgb & 0xFF) / 255.0};
  }

  static constexpr Color clear() { return {0, 0, 0, 0}; }
  static constexpr Color black() { return {0, 0, 0}; }
  static constexpr Color white() { return {1, 1, 1}; }
  static constexpr Color darkGray() { return fromRGB(0x555555); }
  static constexpr Color gray() { return fromRGB(0x808080); }
  static constexpr Color lightGray() { return fromRGB(0xAAAAAA); }

  static constexpr Color systemBlue() { return fromRGB(0x007AFF); }
  static constexpr Color systemGreen() { return fromRGB(0x34C759); }
  static constexpr Color systemOrange() { return fromRGB(0xFF9500); }
  static constexpr Color systemRed() { return fromRGB(0xFF3B30); }
  static constexpr Color systemYellow() { return fromRGB(0xFFCC00); }
  static constexpr Color systemGray() { return fromRGB(0x8E8E93); }
  static constexpr Color systemGray5() { return fromRGB(0xE5E5EA); }

  // What the parts of an interface are painted with.
  static constexpr Color label() { return black(); }
  static constexpr Color secondaryLabel() { return fromRGB(0x3C3C43).withAlpha(0.6); }
  static constexpr Color placeholderText() { return fromRGB(0x3C3C43).withAlpha(0.3); }
  static constexpr Color separator() { return fromRGB(0x3C3C43).withAlpha(0.29); }
  static constexpr Color systemBackground() { return white(); }
  static constexpr Color secondarySystemBackground() { return fromRGB(0xF2F2F7); }
};

}  // namespace platform
