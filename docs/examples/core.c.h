#ifndef KOVA_EXAMPLES_CORE_C_H
#define KOVA_EXAMPLES_CORE_C_H

#include <Kova/KovaC.h>

#endif
