#pragma once

// What the examples take for granted, see script/lint.d/examples.

#include <Kova/Kova.h>

#include <memory>
#include <string>

extern const bool hasAgreed;
extern const std::string email;
