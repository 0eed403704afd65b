#pragma once

#include <string>
#include <string_view>

namespace platform {

// What a Drawing gets to see of a text: well-formed, without NUL, and cut, with an ellipsis, where nobody can
// read on. The font's size is a positive number.
std::string drawableText(std::string_view utf8, double fontSize);

}  // namespace platform
