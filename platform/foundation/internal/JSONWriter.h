#pragma once

#include <string_view>

#include "platform/foundation/ByteBuffer.h"
#include "platform/foundation/Value.h"

namespace platform {

// JSON text under construction, compact and in the order of the dictionaries. One thread at a time.
class JSONWriter {
 public:
  static constexpr int kDeepestLevel = 512;

  std::string_view text() const { return bytes_.text(); }
  void clear() { bytes_.clear(); }

  // False, with part of the text written, at the first thing that has no such form. `level` counts the
  // collections around the value.
  bool write(const Value& value, int level);
  void writeText(std::string_view text);

  // As they are.
  void add(char byte) { bytes_.add(byte); }
  void add(std::string_view bytes) { bytes_.add(bytes); }

 private:
  bool writeDictionary(const Dictionary& dictionary, int level);
  bool writeArray(const Array& array, int level);
  bool writeReal(double real);
  void addEscaped(char byte);

  ByteBuffer bytes_;
};

}  // namespace platform
