#include "platform/foundation/String.h"

#include <utf8proc.h>

#include <algorithm>
#include <new>

namespace platform {

namespace {

bool isASCII(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

// Length in bytes of the well-formed sequence at the head of `text`, or 0 when there is none.
std::size_t sequenceLength(std::string_view text) {
  utf8proc_int32_t codepoint;
  const auto length = utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(text.data()),
                                       static_cast<utf8proc_ssize_t>(text.size()), &codepoint);
  return length > 0 ? static_cast<std::size_t>(length) : 0;
}

}  // namespace

bool isWellFormedUTF8(std::string_view text) {
  if (isASCII(text)) return true;
  while (!text.empty()) {
    const std::size_t length = sequenceLength(text);
    if (length == 0) return false;
    text.remove_prefix(length);
  }
  return true;
}

std::string wellFormedUTF8(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) {
    const std::size_t length = sequenceLength(text);
    if (length == 0) {
      result += "\xEF\xBF\xBD";
      text.remove_prefix(1);
      continue;
    }
    result.append(text.substr(0, length));
    text.remove_prefix(length);
  }
  return result;
}

void String::assign(std::string_view text) {
  if (isWellFormedUTF8(text)) return assignWellFormed(text);
  assignWellFormed(wellFormedUTF8(text));
}

void String::assignWellFormed(std::string_view text) {
  if (text.size() < kInlineCapacity + 1) {
    if (!text.empty()) std::memcpy(bytes_, text.data(), text.size());
    bytes_[kTag] = static_cast<char>(text.size());
    return;
  }
  void* memory = ::operator new(sizeof(Shared) + text.size());
  auto* pointer = new (memory) Shared{1, text.size()};
  std::memcpy(pointer->text(), text.data(), text.size());
  std::memcpy(bytes_, &pointer, sizeof pointer);
  bytes_[kTag] = kShared;
}

void String::release() {
  Shared* pointer = shared();
  if (pointer->references.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
  pointer->~Shared();
  ::operator delete(pointer);
}

}  // namespace platform
