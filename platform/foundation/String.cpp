#include "platform/foundation/String.h"

#include <algorithm>
#include <new>

#include "platform/foundation/ASCII.h"
#include "platform/foundation/CodePoints.h"
#include "platform/foundation/CopyByEnds.h"

namespace platform {

namespace {

// Eight bytes at a time, as long as there are so many.
bool isAllASCII(std::string_view text) {
  for (std::uint64_t word; text.size() >= sizeof word; text.remove_prefix(sizeof word)) {
    std::memcpy(&word, text.data(), sizeof word);
    if ((word & 0x8080808080808080u) != 0) return false;
  }
  return std::ranges::all_of(text, isASCII);
}

template <class Word>
bool copyASCII(char* to, std::string_view text) {
  return (copyByEnds<Word>(to, text) & static_cast<Word>(0x8080808080808080u)) == 0;
}

// Of up to 15 bytes: what the keys and values of most properties are. Whether all of it is ASCII.
bool copyShortASCII(char* to, std::string_view text) {
  if (text.size() >= 8) return copyASCII<std::uint64_t>(to, text);
  if (text.size() >= 4) return copyASCII<std::uint32_t>(to, text);
  if (text.size() >= 2) return copyASCII<std::uint16_t>(to, text);
  return text.empty() || copyASCII<std::uint8_t>(to, text);
}

}  // namespace

bool isWellFormedUTF8(std::string_view text) {
  if (isAllASCII(text)) return true;
  while (!text.empty()) {
    if (!takeCodePoint(text).isWellFormed()) return false;
  }
  return true;
}

std::string wellFormedUTF8(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) {
    const std::string_view rest = text;
    const CodePoint point = takeCodePoint(text);
    result.append(point.isWellFormed() ? rest.substr(0, point.length) : "\xEF\xBF\xBD");
  }
  return result;
}

void String::assign(std::string_view text) {
  if (text.size() <= kInlineCapacity && copyShortASCII(bytes_, text)) {
    bytes_[kTag] = static_cast<char>(text.size());
    return;
  }
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
