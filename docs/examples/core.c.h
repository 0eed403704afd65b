#pragma once

#include <Kova/KovaC.h>
