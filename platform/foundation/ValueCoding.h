#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/foundation/Value.h"

namespace platform {

// Values as bytes that only this machine reads, written several times faster than JSON, one behind the other.
//
// A value that holds an NSObject has no such form, and is written as null.
void appendEncoded(std::string& bytes, const Value& value);
void appendEncoded(std::string& bytes, const Dictionary& entries);
void appendEncoded(std::string& bytes, std::string_view text);

// The next value, which is taken off the bytes; none when there is none, or what is there was not written by
// the functions above.
std::optional<Value> takeDecoded(std::string_view& bytes);

}  // namespace platform
