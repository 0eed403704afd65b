#pragma once

#include <concepts>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

#include "platform/foundation/Value.h"
#include "platform/runtime/SEL.h"

namespace platform {

// Typed formats in the platform's notation. Understood are
//   %@                 anything with a description (below), "(null)" for what is missing
//   %d %ld %lld        signed integers            %u %lu %llu %016llu   unsigned integers
//   %f %.0f            real numbers               %%                    a per cent sign
// Numbers are written the same in every locale.
// A format is checked when it is compiled: a conversion without its argument, an argument without its
// conversion or one of the wrong kind does not compile. Nothing is described before the text is really made.

// The description of each kind of thing that "%@" takes.
inline std::string describe(std::string_view text) { return std::string(text); }
inline std::string describe(const std::string& text) { return text; }
inline std::string describe(const char* text) { return text ? text : "(null)"; }
inline std::string describe(const String& text) { return text.str(); }
inline std::string describe(SEL selector) { return NSStringFromSelector(selector); }
template <class T>
requires requires(const T& thing) {
  { thing.description() } -> std::convertible_to<std::string>;
}
std::string describe(const T& thing) { return thing.description(); }
template <class T>
requires(std::is_arithmetic_v<T> || std::same_as<T, Array> || std::same_as<T, Dictionary>) std::string
    describe(const T& thing) {
  return Value(thing).description();
}
template <class T>
std::string describe(const std::optional<T>& thing) {
  return thing ? describe(*thing) : "(null)";
}
template <class T>
requires requires(const T& thing) { thing.description(); }
std::string describe(const std::shared_ptr<T>& thing) { return thing ? thing->description() : "(null)"; }

template <class T>
concept Describable = requires(const T& thing) {
  { platform::describe(thing) } -> std::same_as<std::string>;
};

// One argument, referred to until the text is made.
class FormatArgument {
 public:
  template <class T>
  explicit FormatArgument(const T& thing) : thing_(&thing) {
    if constexpr (Describable<T>) {
      describe_ = [](const void* t) { return platform::describe(*static_cast<const T*>(t)); };
    }
    if constexpr (std::integral<T> && std::signed_integral<T>) signed_ = thing;
    if constexpr (std::integral<T> && std::unsigned_integral<T>) unsigned_ = thing;
    if constexpr (std::floating_point<T>) real_ = static_cast<double>(thing);
  }
  std::string described() const { return describe_(thing_); }
  std::int64_t asSigned() const { return signed_; }
  std::uint64_t asUnsigned() const { return unsigned_; }
  double asReal() const { return real_; }

 private:
  const void* thing_;
  std::string (*describe_)(const void*) = nullptr;
  union {
    std::int64_t signed_ = 0;
    std::uint64_t unsigned_;
    double real_;
  };
};

// The conversion that stands at the head of `text` (which begins with '%').
struct FormatConversion {
  char letter = 0;         // '@', 'd', 'u', 'f' or '%'; 0 for what is not understood
  std::size_t length = 1;  // of it all
  std::size_t width = 0;   // digits at least, with zeros in front
  int precision = 6;       // digits behind the point
};

constexpr FormatConversion conversionAt(std::string_view text) {
  FormatConversion conversion;
  std::size_t& i = conversion.length;
  const auto number = [&] {
    int value = 0;
    for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i) value = value * 10 + (text[i] - '0');
    return value;
  };
  if (i < text.size() && text[i] == '0') conversion.width = static_cast<std::size_t>(number());
  if (i < text.size() && text[i] == '.') conversion.precision = (++i, number());
  while (i < text.size() && text[i] == 'l') ++i;
  if (i == text.size()) return conversion;
  const char letter = text[i++];
  const bool isKnown = letter == '@' || letter == 'd' || letter == 'u' || letter == 'f' || letter == '%';
  const bool isSuited =
      (conversion.width == 0 || letter == 'u') && (conversion.precision == 6 || letter == 'f');
  if (isKnown && isSuited) conversion.letter = letter;
  return conversion;
}

template <class T>
constexpr bool fitsConversion(char letter) {
  using Plain = std::remove_cvref_t<T>;
  if (letter == '@') return Describable<Plain>;
  if (letter == 'd') return std::signed_integral<Plain>;
  if (letter == 'u') return std::unsigned_integral<Plain> && !std::same_as<Plain, bool>;
  return letter == 'f' && std::floating_point<Plain>;
}

// A format that suits the arguments; anything else does not compile.
template <class... Arguments>
class FormatString {
 public:
  template <class Text>
  requires std::convertible_to<const Text&, std::string_view>
  consteval FormatString(const Text& text) : text_(text) {
    constexpr std::size_t count = sizeof...(Arguments);
    std::size_t index = 0;
    for (std::size_t i = 0; i < text_.size(); ++i) {
      if (text_[i] != '%') continue;
      const FormatConversion conversion = conversionAt(text_.substr(i));
      if (conversion.letter == 0) throw "a conversion that is not understood";
      i += conversion.length - 1;
      if (conversion.letter == '%') continue;
      if (index >= count) throw "a conversion without its argument";
      if (!fits(index, conversion.letter)) throw "an argument of the wrong kind";
      ++index;
    }
    if (index != count) throw "an argument without its conversion";
  }
  constexpr std::string_view text() const { return text_; }

 private:
  static consteval bool fits([[maybe_unused]] std::size_t index, [[maybe_unused]] char letter) {
    bool result = false;
    [[maybe_unused]] std::size_t i = 0;
    ((i++ == index ? void(result = fitsConversion<Arguments>(letter)) : void()), ...);
    return result;
  }
  std::string_view text_;
};

// The text of a format whose arguments have been checked. Use formatted() below.
std::string vformatted(std::string_view format, const FormatArgument* arguments);

template <class... Arguments>
std::string formatted(FormatString<std::type_identity_t<Arguments>...> format,
                      const Arguments&... arguments) {
  const FormatArgument list[] = {FormatArgument(arguments)..., FormatArgument(0)};
  return vformatted(format.text(), list);
}

}  // namespace platform
