#pragma once

#include <memory>

#include "platform/graphics/Color.h"
#include "platform/graphics/Image.h"

// Signs for tabs, drawn in lines of one colour on nothing.
enum class Icon { Shop, Basket, Person };

// 24 by 24 points, three pixels a point.
std::shared_ptr<const platform::Image> icon(Icon icon, platform::Color colour);
