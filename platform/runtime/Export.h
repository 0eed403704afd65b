#pragma once

// On every class with a record (NS_OBJECT) that a header of the platform declares: the record is one in a
// process, also for libraries that hide their own symbols.
#define PLATFORM_EXPORT __attribute__((visibility("default")))
