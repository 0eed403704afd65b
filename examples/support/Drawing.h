#pragma once

#include <memory>

#include "platform/graphics/Color.h"
#include "platform/graphics/Image.h"

// Small pictures of things, for screens that need something to show.
enum class Drawing { Shirt, Beanie, Backpack, Mug, Umbrella, Notebook };

// 160 by 160 points, three pixels a point, on a light or a dark ground of the same colour.
enum class Ground { Light, Dark };
std::shared_ptr<const platform::Image> picture(Drawing drawing, platform::Color colour,
                                               Ground ground = Ground::Light);
