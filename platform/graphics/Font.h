#pragma once

namespace platform {

// The system's font in a size (in points) and a weight.
struct Font {
  enum class Weight { Regular, Medium, Bold };

  double size = 17;
  Weight weight = Weight::Regular;

  friend constexpr bool operator==(const Font&, const Font&) = default;

  static constexpr Font systemFont(double size, Weight weight = Weight::Regular) { return {size, weight}; }
  static constexpr Font boldSystemFont(double size) { return {size, Weight::Bold}; }
};

}  // namespace platform
