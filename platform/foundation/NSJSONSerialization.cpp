#include "platform/foundation/NSJSONSerialization.h"

// A host may bring a RapidJSON of another version, and a linker would mix the two.
#define RAPIDJSON_NAMESPACE platform_rapidjson
#define RAPIDJSON_HAS_STDSTRING 1
#if defined(__SSE2__)
#define RAPIDJSON_SSE2
#endif
#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <new>
#include <vector>

#include "platform/foundation/internal/JSONWriter.h"

namespace platform {

namespace {

namespace rapidjson = RAPIDJSON_NAMESPACE;

constexpr int kDeepestLevel = JSONWriter::kDeepestLevel;
// Kept free above a dictionary that is still to become part of something larger.
constexpr int kLevelsAbove = 8;

bool isValid(const Value& value, int level);

bool isValid(const Entry& entry, int level) { return entry.first.isString() && isValid(entry.second, level); }

bool isValid(const Value& value, int level) {
  if (value.isReal()) return std::isfinite(value.real());
  if (value.isDate() || value.isObject()) return false;
  if (!value.isArray() && !value.isDictionary()) return true;
  if (level == kDeepestLevel) return false;
  if (value.isArray()) {
    return std::all_of(value.array().begin(), value.array().end(),
                       [level](const Value& item) { return isValid(item, level + 1); });
  }
  return std::all_of(value.dictionary().begin(), value.dictionary().end(),
                     [level](const Entry& entry) { return isValid(entry, level + 1); });
}

// RapidJSON's own writes to a null pointer when there is no memory.
struct Allocator : rapidjson::CrtAllocator {
  static void* Malloc(std::size_t size) { return checked(CrtAllocator().Malloc(size), size); }
  static void* Realloc(void* old, std::size_t oldSize, std::size_t size) {
    return checked(CrtAllocator().Realloc(old, oldSize, size), size);
  }

 private:
  static void* checked(void* memory, std::size_t size) {
    if (!memory && size > 0) throw std::bad_alloc();
    return memory;
  }
};
using Reader = rapidjson::GenericReader<rapidjson::UTF8<>, rapidjson::UTF8<>, Allocator>;

// Builds a Value from the reader's events. The open collections stand on a stack of their own, so that deep
// text does not deepen the call stack.
class ValueBuilder : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, ValueBuilder> {
 public:
  bool Null() { return add(Value()); }
  bool Bool(bool boolean) { return add(boolean); }
  // The reader's own conversion makes any number of a zero with an exponent. A number that no double holds is
  // refused.
  bool RawNumber(const char* text, rapidjson::SizeType length, bool) {
    const char* const end = text + length;
    return addAs<std::int64_t>(text, end) || addAs<std::uint64_t>(text, end) || addAs<double>(text, end);
  }
  bool String(const char* text, rapidjson::SizeType length, bool) {
    return add(std::string_view(text, length));
  }
  bool StartArray() { return open(); }
  bool EndArray(rapidjson::SizeType count) {
    std::vector<Value> items = take(count);
    return close(Array(std::move(items)));
  }
  bool StartObject() { return open(); }
  bool Key(const char* text, rapidjson::SizeType length, bool) { return add(std::string_view(text, length)); }
  bool EndObject(rapidjson::SizeType count) {
    std::vector<Value> items = take(count * 2);
    MutableDictionary entries;
    entries.reserve(count);
    for (std::size_t i = 0; i < items.size(); i += 2) {
      if (count <= kCheckedForRepeats) {
        entries.set(std::move(items[i]), std::move(items[i + 1]));
      } else {
        entries.append(std::move(items[i]), std::move(items[i + 1]));
      }
    }
    return close(Dictionary(std::move(entries)));
  }

  Value result() { return std::move(values_.front()); }

 private:
  // Beyond this size a repeated key, which no writer makes, is kept rather than searched for in quadratic
  // time.
  static constexpr rapidjson::SizeType kCheckedForRepeats = 64;

  // Whether all of the text is one number of the kind.
  template <class Number>
  bool addAs(const char* text, const char* end) {
    Number number{};
    const auto read = std::from_chars(text, end, number);
    return read.ec == std::errc() && read.ptr == end && add(number);
  }
  bool open() { return ++level_ <= kDeepestLevel; }
  bool close(Value collection) {
    --level_;
    return add(std::move(collection));
  }
  bool add(Value value) {
    values_.push_back(std::move(value));
    return true;
  }
  std::vector<Value> take(std::size_t count) {
    const auto first = values_.end() - static_cast<std::ptrdiff_t>(count);
    std::vector<Value> items(std::make_move_iterator(first), std::make_move_iterator(values_.end()));
    values_.erase(first, values_.end());
    return items;
  }

  std::vector<Value> values_;
  int level_ = 0;
};

}  // namespace

bool NSJSONSerialization::isValidJSONObject(const Value& object) {
  return (object.isArray() || object.isDictionary()) && isValid(object, 0);
}

bool NSJSONSerialization::isValidJSONObject(const MutableDictionary& object) {
  return std::all_of(object.begin(), object.end(),
                     [](const Entry& entry) { return isValid(entry, 1 + kLevelsAbove); });
}

std::optional<std::string> NSJSONSerialization::dataWithJSONObject(const Value& object) {
  if (!object.isArray() && !object.isDictionary()) return std::nullopt;
  JSONWriter writer;
  if (!writer.write(object, 0)) return std::nullopt;
  return std::string(writer.text());
}

std::optional<Value> NSJSONSerialization::JSONObjectWithData(std::string_view data) {
  rapidjson::MemoryStream stream(data.data(), data.size());
  Reader reader;
  ValueBuilder builder;
  constexpr unsigned flags = rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag |
                             rapidjson::kParseNumbersAsStringsFlag;
  if (reader.Parse<flags>(stream, builder).IsError()) return std::nullopt;
  return builder.result();
}

}  // namespace platform
