#pragma once

// On every class with a record (NS_OBJECT) that a header of the platform declares: the record is one in a
// process, also for libraries that hide their own symbols.
#define PLATFORM_EXPORT __attribute__((visibility("default")))

// The name in C of what leads into a part of the platform that is loaded when it is needed. It bears the
// version: a part of another one has no such entry.
#define PLATFORM_ENTRY(part) PLATFORM_ENTRY_OF(part, PLATFORM_VERSION_OF_PARTS)
#define PLATFORM_ENTRY_OF(part, version) PLATFORM_ENTRY_JOINED(part, version)
#define PLATFORM_ENTRY_JOINED(part, version) part##_##version
#define PLATFORM_ENTRY_NAME(part) PLATFORM_ENTRY_QUOTED(PLATFORM_ENTRY(part))
#define PLATFORM_ENTRY_QUOTED(name) PLATFORM_ENTRY_TEXT(name)
#define PLATFORM_ENTRY_TEXT(name) #name
