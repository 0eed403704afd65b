#include "platform/foundation/ValueCoding.h"

#include <cstdint>
#include <cstring>
#include <utility>
#include <vector>

namespace platform {

namespace {

constexpr int kDeepest = 512;  // levels

enum class Kind : char { Null, False, True, Integer, Unsigned, Real, String, Date, Array, Dictionary };

template <class Number>
void append(ByteBuffer& bytes, Kind kind, Number number) {
  bytes.add(static_cast<char>(kind), number, {});
}

template <class Number>
std::optional<Number> take(std::string_view& bytes) {
  if (bytes.size() < sizeof(Number)) return std::nullopt;
  Number number;
  std::memcpy(&number, bytes.data(), sizeof number);
  bytes.remove_prefix(sizeof number);
  return number;
}

std::optional<Value> takeValue(std::string_view& bytes, int depth);

std::optional<Value> takeString(std::string_view& bytes) {
  const auto length = take<std::uint32_t>(bytes);
  if (!length || *length > bytes.size()) return std::nullopt;
  const std::string_view text = bytes.substr(0, *length);
  bytes.remove_prefix(*length);
  return Value(text);
}

std::optional<Value> takeArray(std::string_view& bytes, int depth) {
  const auto count = take<std::uint32_t>(bytes);
  if (!count) return std::nullopt;
  std::vector<Value> items;
  for (std::uint32_t i = 0; i < *count; ++i) {
    auto item = takeValue(bytes, depth + 1);
    if (!item) return std::nullopt;
    items.push_back(std::move(*item));
  }
  return Value(Array(std::move(items)));
}

std::optional<Value> takeDictionary(std::string_view& bytes, int depth) {
  const auto count = take<std::uint32_t>(bytes);
  if (!count) return std::nullopt;
  MutableDictionary entries;
  for (std::uint32_t i = 0; i < *count; ++i) {
    auto key = takeValue(bytes, depth + 1);
    auto value = key ? takeValue(bytes, depth + 1) : std::nullopt;
    if (!value) return std::nullopt;
    entries.append(std::move(*key), std::move(*value));
  }
  return Value(Dictionary(std::move(entries)));
}

template <class Number>
std::optional<Value> takeNumber(std::string_view& bytes) {
  const auto number = take<Number>(bytes);
  return number ? std::optional(Value(*number)) : std::nullopt;
}

std::optional<Value> takeValue(std::string_view& bytes, int depth) {
  const auto kind = take<char>(bytes);
  if (!kind || depth > kDeepest) return std::nullopt;
  switch (static_cast<Kind>(*kind)) {
    case Kind::Null:
      return Value();
    case Kind::False:
      return Value(false);
    case Kind::True:
      return Value(true);
    case Kind::Integer:
      return takeNumber<std::int64_t>(bytes);
    case Kind::Unsigned:
      return takeNumber<std::uint64_t>(bytes);
    case Kind::Real:
      return takeNumber<double>(bytes);
    case Kind::String:
      return takeString(bytes);
    case Kind::Date:
      if (const auto seconds = take<double>(bytes)) return Value(NSDate::withTimeIntervalSince1970(*seconds));
      return std::nullopt;
    case Kind::Array:
      return takeArray(bytes, depth);
    case Kind::Dictionary:
      return takeDictionary(bytes, depth);
  }
  return std::nullopt;
}

}  // namespace

void appendEncoded(ByteBuffer& bytes, std::string_view text) {
  bytes.add(static_cast<char>(Kind::String), static_cast<std::uint32_t>(text.size()), text);
}

void appendEncoded(ByteBuffer& bytes, const Dictionary& entries) {
  append(bytes, Kind::Dictionary, static_cast<std::uint32_t>(entries.size()));
  for (const auto& [key, value] : entries) {
    appendEncoded(bytes, key);
    appendEncoded(bytes, value);
  }
}

void appendEncoded(ByteBuffer& bytes, const Value& value) {
  if (value.isString()) return appendEncoded(bytes, value.text());
  if (value.isDictionary()) return appendEncoded(bytes, value.dictionary());
  if (value.isBoolean()) return bytes.add(static_cast<char>(value.boolean() ? Kind::True : Kind::False));
  if (value.isInteger()) return append(bytes, Kind::Integer, value.integer());
  if (value.isUnsigned()) return append(bytes, Kind::Unsigned, value.unsignedInteger());
  if (value.isReal()) return append(bytes, Kind::Real, value.real());
  if (value.isDate()) return append(bytes, Kind::Date, value.date().timeIntervalSince1970());
  if (!value.isArray()) return bytes.add(static_cast<char>(Kind::Null));
  append(bytes, Kind::Array, static_cast<std::uint32_t>(value.array().size()));
  for (const Value& item : value.array()) appendEncoded(bytes, item);
}

std::optional<Value> takeDecoded(std::string_view& bytes) { return takeValue(bytes, 0); }

}  // namespace platform
