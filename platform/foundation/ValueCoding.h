#pragma once

#include <optional>
#include <string_view>

#include "platform/foundation/ByteBuffer.h"
#include "platform/foundation/Value.h"

namespace platform {

// Values as bytes that only this machine reads, written several times faster than JSON, one behind the other.
//
// A value that holds an NSObject has no such form, and is written as null.
void appendEncoded(ByteBuffer& bytes, const Value& value);
void appendEncoded(ByteBuffer& bytes, const Dictionary& entries);
void appendEncoded(ByteBuffer& bytes, std::string_view text);

// The next value, which is taken off the bytes; none when there is none, or what is there was not written by
// the functions above.
std::optional<Value> takeDecoded(std::string_view& bytes);

}  // namespace platform
