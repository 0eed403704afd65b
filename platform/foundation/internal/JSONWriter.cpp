#include "platform/foundation/internal/JSONWriter.h"

// A host may bring a RapidJSON of another version, and a linker would mix the two.
#define RAPIDJSON_NAMESPACE platform_rapidjson
#include <rapidjson/internal/dtoa.h>

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <iterator>

#include "platform/foundation/ASCII.h"

namespace platform {

namespace {

// How many of the first bytes stand in a JSON string as they are. Eight at a time: in the word of a plain
// text no byte is below the space, none is a quotation mark, none a backslash.
std::size_t plainLength(std::string_view text) {
  constexpr std::uint64_t kOnes = 0x0101010101010101u;
  constexpr std::uint64_t kHighest = kOnes * 0x80;
  const auto belowEach = [](std::uint64_t word, std::uint64_t limit) {
    return (word - kOnes * limit) & ~word;
  };
  std::size_t length = 0;
  for (std::uint64_t word; text.size() - length >= sizeof word; length += sizeof word) {
    std::memcpy(&word, text.data() + length, sizeof word);
    const std::uint64_t found =
        belowEach(word, 0x20) | belowEach(word ^ (kOnes * '"'), 1) | belowEach(word ^ (kOnes * '\\'), 1);
    if ((found & kHighest) != 0) break;
  }
  const auto isPlain = [](char byte) {
    return static_cast<unsigned char>(byte) >= 0x20 && byte != '"' && byte != '\\';
  };
  while (length < text.size() && isPlain(text[length])) ++length;
  return length;
}

template <class Number>
void addDigits(JSONWriter& writer, Number number) {
  char digits[24];
  writer.add(
      {digits, static_cast<std::size_t>(std::to_chars(digits, std::end(digits), number).ptr - digits)});
}

}  // namespace

bool JSONWriter::write(const Value& value, int level) {
  if (value.isString()) {
    writeText(value.string().view());
    return true;
  }
  if (value.isDictionary()) return level < kDeepestLevel && writeDictionary(value.dictionary(), level + 1);
  if (value.isArray()) return level < kDeepestLevel && writeArray(value.array(), level + 1);
  if (value.isReal()) return writeReal(value.real());
  if (value.isInteger()) {
    addDigits(*this, value.integer());
  } else if (value.isUnsigned()) {
    addDigits(*this, value.unsignedInteger());
  } else if (value.isBoolean()) {
    add(value.boolean() ? std::string_view("true") : "false");
  } else if (value.isNull()) {
    add("null");
  } else {
    return false;
  }
  return true;
}

bool JSONWriter::writeDictionary(const Dictionary& dictionary, int level) {
  char before = '{';
  for (const auto& [key, value] : dictionary) {
    if (!key.isString()) return false;
    add(before);
    before = ',';
    writeText(key.string().view());
    add(':');
    if (!write(value, level)) return false;
  }
  if (dictionary.empty()) add('{');
  add('}');
  return true;
}

bool JSONWriter::writeArray(const Array& array, int level) {
  char before = '[';
  for (const Value& item : array) {
    add(before);
    before = ',';
    if (!write(item, level)) return false;
  }
  if (array.empty()) add('[');
  add(']');
  return true;
}

bool JSONWriter::writeReal(double real) {
  if (!std::isfinite(real)) return false;
  char digits[32];
  const char* const end = platform_rapidjson::internal::dtoa(real, digits);
  add({digits, static_cast<std::size_t>(end - digits)});
  return true;
}

void JSONWriter::writeText(std::string_view text) {
  add('"');
  for (std::size_t plain; plain = plainLength(text), add(text.substr(0, plain)), plain < text.size();) {
    addEscaped(text[plain]);
    text.remove_prefix(plain + 1);
  }
  add('"');
}

void JSONWriter::addEscaped(char byte) {
  constexpr std::string_view kNamed = "\"\\\b\f\n\r\t";
  constexpr std::string_view kNames = "\"\\bfnrt";
  add('\\');
  if (const auto place = kNamed.find(byte); place != std::string_view::npos) return add(kNames[place]);
  add("u00");
  add(kHexadecimalDigits[static_cast<unsigned char>(byte) >> 4]);
  add(kHexadecimalDigits[static_cast<unsigned char>(byte) & 15]);
}

}  // namespace platform
