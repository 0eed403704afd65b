#pragma once

#include <cstring>
#include <string_view>

namespace platform {

// Copies bytes that are at least as many as the word has, and at most twice as many, by their first and their
// last word: for a few, a call costs more than that. Answers the bits of all of them, one over the other.
template <class Word>
Word copyByEnds(char* to, std::string_view bytes) {
  Word first;
  Word last;
  std::memcpy(&first, bytes.data(), sizeof first);
  std::memcpy(&last, bytes.data() + bytes.size() - sizeof last, sizeof last);
  std::memcpy(to, &first, sizeof first);
  std::memcpy(to + bytes.size() - sizeof last, &last, sizeof last);
  return static_cast<Word>(first | last);
}

}  // namespace platform
