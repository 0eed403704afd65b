#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace platform {

// The name of a method, with its colons: "sendAction:to:from:forEvent:".
//
// A SEL is one pointer to an interned text that is never freed. Two selectors of the same text are equal by
// pointer, so that comparing, hashing and copying cost nothing; making one from text takes a lock and a
// look-up, therefore keep it (`static const SEL action("buttonTapped:");`). A default-constructed SEL is
// null. Any thread.
class SEL {
 public:
  constexpr SEL() = default;
  explicit SEL(std::string_view name);

  explicit constexpr operator bool() const { return name_ != nullptr; }
  friend constexpr bool operator==(SEL, SEL) = default;

 private:
  friend const std::string& NSStringFromSelector(SEL selector);
  friend struct std::hash<SEL>;

  const std::string* name_ = nullptr;
};

// The text of the selector; empty for the null selector. The reference is good for ever.
const std::string& NSStringFromSelector(SEL selector);
SEL NSSelectorFromString(std::string_view name);

}  // namespace platform

template <>
struct std::hash<platform::SEL> {
  std::size_t operator()(platform::SEL selector) const noexcept {
    return std::hash<const std::string*>{}(selector.name_);
  }
};
