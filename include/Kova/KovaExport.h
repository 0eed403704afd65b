#pragma once

// Marks what the library shows to its hosts; everything else stays inside it.
#if defined(_WIN32)
#define KOVA_EXPORT
#else
#define KOVA_EXPORT __attribute__((visibility("default")))
#endif
