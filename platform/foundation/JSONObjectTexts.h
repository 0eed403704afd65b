#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/foundation/Value.h"

namespace platform {

class JSONWriter;

// Writes objects of one kind as JSON text, one after the other. What they have in common costs little: the
// text of a dictionary is kept as long as one object after another has that same dictionary in that place.
//
// One thread at a time. Holds what it keeps.
class JSONObjectTexts {
 public:
  JSONObjectTexts();
  ~JSONObjectTexts();
  JSONObjectTexts(const JSONObjectTexts&) = delete;
  JSONObjectTexts& operator=(const JSONObjectTexts&) = delete;

  // Compact UTF-8 text, as NSJSONSerialization writes it. Nothing for what that would not write, nor for what
  // is more than 504 levels deep: the object will become part of something larger.
  std::optional<std::string> textOf(const MutableDictionary& object);

 private:
  struct Kept {
    Dictionary entries;
    std::string text;  // empty until they have been met a second time
  };
  bool write(std::size_t place, const Value& value);

  const std::unique_ptr<JSONWriter> writer_;
  std::vector<Kept> kept_;  // by place in the object
};

}  // namespace platform
