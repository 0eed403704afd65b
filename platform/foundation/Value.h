#pragma once

#include <concepts>
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "platform/foundation/NSDate.h"
#include "platform/foundation/String.h"

namespace platform {

class NSObject;
class Value;
class MutableDictionary;
struct DictionaryItem;
using Entry = std::pair<Value, Value>;

template <class T>
concept WholeNumber =
    std::integral<T> && !std::same_as<T, bool> && !std::same_as<T, char> && !std::same_as<T, wchar_t> &&
    !std::same_as<T, char8_t> && !std::same_as<T, char16_t> && !std::same_as<T, char32_t>;

// The C++ library's containers, maps, durations and system times, by their shape: their headers stay out.
// Other projects' texts, which have that shape too, are none.
// clang-format off
template <class T>
concept Container = !std::convertible_to<const T&, std::string_view> && requires(const T& items) {
  typename T::value_type;
  requires !std::same_as<typename T::value_type, char>;
  requires !std::convertible_to<const T&, std::string>;
  items.begin() != items.end();
  requires std::same_as<std::remove_cvref_t<decltype(*items.begin())>, typename T::value_type>;
  requires !std::same_as<T, typename T::value_type>;
};
template <class T>
concept Map = Container<T> && requires {
  typename T::key_type;
  typename T::mapped_type;
};
template <class T>
concept Duration = requires(const T& time) {
  time.count() * T::period::num / T::period::den;
};
template <class T>
concept SystemTime = Duration<typename T::duration> && requires(const T& time) {
  time.time_since_epoch();
  &T::clock::to_time_t;
};
// clang-format on
// What stands in a container: a value, or an optional one.
template <class T>
struct Held {
  using Type = T;
};
template <class T>
struct Held<std::optional<T>> {
  using Type = T;
};
template <class T>
concept Member = std::convertible_to<const typename Held<T>::Type&, Value>;

// An immutable, ordered list of values. Copies share one list.
class Array {
 public:
  Array() = default;
  Array(std::initializer_list<Value> items);
  explicit Array(std::vector<Value> items);

  std::size_t size() const;
  bool empty() const { return size() == 0; }
  const Value& operator[](std::size_t index) const;
  const Value* begin() const;
  const Value* end() const;

 private:
  std::shared_ptr<const std::vector<Value>> items_;
};

// An immutable map in insertion order. Copies share one map. Keys may be of any kind, so that bad input can
// be seen and refused; of equal keys the last one given wins, in the place of the first.
class Dictionary {
 public:
  Dictionary() = default;
  Dictionary(std::initializer_list<DictionaryItem> items);
  static Dictionary ofItems(std::span<const DictionaryItem> items);
  // Takes the entries over, without copying them.
  explicit Dictionary(MutableDictionary&& entries);
  explicit Dictionary(const MutableDictionary& entries);

  std::size_t size() const;
  bool empty() const { return size() == 0; }
  // Null when there is no such key.
  const Value* find(std::string_view key) const;
  const Entry* begin() const;
  const Entry* end() const;
  // Whether both are copies of one map; two empty ones are. Equality of content is a Value's.
  bool isSameObject(const Dictionary& other) const;

 private:
  std::shared_ptr<const std::vector<Entry>> entries_;
};

// Foundation's property-list world as one C++ value of 24 bytes: the null marker, a boolean, a whole number,
// a real (double or float), a string, a date, an array, a dictionary or any NSObject. Copying is cheap: what
// is large is shared and immutable.
//
// Literals convert: {{"plan", "pro"}, {"trial", true}, {"seats", 3}} is a dictionary, Array{1, 2} an array. A
// char is text of one character. A boolean is never an integer. So does what the C++ library has: a vector, a
// list, a set is an array, a map a dictionary, a duration its seconds, a time of the system clock a date.
// "No value" (nil) is not a Value: it is std::nullopt of std::optional<Value>. In a container, a map or the
// items of a dictionary an optional without a value is left out.
class Value {
 public:
  struct Null {
    bool operator==(const Null&) const = default;
  };

  Value() = default;
  Value(std::nullptr_t) {}
  Value(std::same_as<bool> auto boolean) : data_(static_cast<bool>(boolean)) {}
  Value(std::same_as<char> auto character) : data_(String(std::string_view(&character, 1))) {}
  Value(WholeNumber auto number) : data_(fromWhole(number)) {}
  Value(std::floating_point auto real) : data_(fromReal(real)) {}
  Value(const char* text) {
    if (text) data_ = String(text);
  }
  Value(std::string_view text) : data_(String(text)) {}
  Value(const std::string& text) : data_(String(text)) {}
  Value(String text) : data_(std::move(text)) {}
  Value(NSDate date) : data_(date) {}
  Value(Array items) : data_(std::move(items)) {}
  Value(Dictionary entries) : data_(std::move(entries)) {}
  Value(std::initializer_list<DictionaryItem> items) : data_(Dictionary(items)) {}
  template <std::derived_from<NSObject> T>
  Value(std::shared_ptr<T> object) {
    if (object) data_ = std::static_pointer_cast<NSObject>(std::move(object));
  }
  template <Container T>
  requires(!Map<T> && Member<typename T::value_type>) Value(const T& items) : data_(arrayOf(items)) {}
  template <Map T>
  requires(Member<typename T::key_type>&& Member<typename T::mapped_type>) Value(const T& entries)
      : data_(dictionaryOf(entries)) {}
  Value(const Duration auto& duration) : data_(secondsOf(duration)) {}
  Value(const SystemTime auto& time)
      : data_(NSDate::withTimeIntervalSince1970(secondsOf(time.time_since_epoch()))) {}

  bool isNull() const { return is<Null>(); }
  bool isBoolean() const { return is<bool>(); }
  bool isInteger() const { return is<std::int64_t>(); }
  // A whole number beyond the range of the integers.
  bool isUnsigned() const { return is<std::uint64_t>(); }
  bool isReal() const { return is<double>() || is<float>(); }
  bool isNumber() const { return isBoolean() || isInteger() || isUnsigned() || isReal(); }
  bool isString() const { return is<String>(); }
  bool isDate() const { return is<NSDate>(); }
  bool isArray() const { return is<Array>(); }
  bool isDictionary() const { return is<Dictionary>(); }
  bool isObject() const { return is<std::shared_ptr<NSObject>>(); }

  // Each throws std::bad_variant_access when the value is of another kind.
  bool boolean() const { return std::get<bool>(data_); }
  std::int64_t integer() const { return std::get<std::int64_t>(data_); }
  std::uint64_t unsignedInteger() const { return std::get<std::uint64_t>(data_); }
  // A float by its own digits: 0.1 for 0.1f.
  double real() const;
  const String& string() const { return std::get<String>(data_); }
  NSDate date() const { return std::get<NSDate>(data_); }
  const Array& array() const { return std::get<Array>(data_); }
  const Dictionary& dictionary() const { return std::get<Dictionary>(data_); }
  const std::shared_ptr<NSObject>& object() const { return std::get<std::shared_ptr<NSObject>>(data_); }

  // Any number as a double (true is 1), 0 for what is no number.
  double doubleValue() const;
  // The text of a string, empty for what is no string.
  std::string_view text() const { return isString() ? string().view() : std::string_view(); }

  // The text that "%@" writes, the same in every locale: 3, 2.5, 1 for true, <null>, collections on several
  // lines.
  std::string description() const;
  // The name of the platform's class for such a value: NSString, NSNumber, NSNull, or the object's own class.
  std::string_view className() const;

  // Deep for collections, identity for objects; numbers are equal across kinds when their values are,
  // booleans only to booleans.
  friend bool operator==(const Value& a, const Value& b);

 private:
  using Data = std::variant<Null, bool, std::int64_t, std::uint64_t, double, float, String, NSDate, Array,
                            Dictionary, std::shared_ptr<NSObject>>;

  template <class T>
  bool is() const {
    return std::holds_alternative<T>(data_);
  }
  static Data fromWhole(WholeNumber auto number) {
    if (std::in_range<std::int64_t>(number)) return static_cast<std::int64_t>(number);
    return static_cast<std::uint64_t>(number);
  }
  static Data fromReal(float real) { return real; }
  static Data fromReal(std::floating_point auto real) { return static_cast<double>(real); }
  static double secondsOf(const Duration auto& duration) {
    using Period = typename std::remove_cvref_t<decltype(duration)>::period;
    return static_cast<double>(duration.count()) * Period::num / Period::den;
  }
  static Array arrayOf(const Container auto& items);
  static Dictionary dictionaryOf(const Map auto& entries);

  Data data_;
};

// An entry as it is written down: {"seats", 3}, or with an optional value, {"coupon", order.coupon}.
struct DictionaryItem {
  DictionaryItem(Value itemKey, Value itemValue) : key(std::move(itemKey)), value(std::move(itemValue)) {}
  template <Member T>
  DictionaryItem(Value itemKey, const std::optional<T>& itemValue)
      : key(std::move(itemKey)),
        value(itemValue ? std::optional<Value>(std::in_place, *itemValue) : std::nullopt) {}

  Value key;
  std::optional<Value> value;
};

// A dictionary under construction, owned by one thread at a time. Keeps insertion order.
class MutableDictionary {
 public:
  MutableDictionary() = default;
  MutableDictionary(std::initializer_list<DictionaryItem> items);
  explicit MutableDictionary(const Dictionary& entries);

  void reserve(std::size_t count) { entries_.reserve(count); }
  // Replaces the value of an equal key in its place, else appends. "No value" removes the key.
  void set(Value key, std::optional<Value> value);
  // Appends without looking for an equal key: for keys that the caller knows to be new.
  void append(Value key, Value value) { entries_.emplace_back(std::move(key), std::move(value)); }
  void remove(std::string_view key);
  // Sets every entry of `other`, which wins on equal keys.
  void merge(const Dictionary& other);

  const Value* find(std::string_view key) const;
  std::size_t size() const { return entries_.size(); }
  bool empty() const { return entries_.empty(); }
  const Entry* begin() const { return entries_.data(); }
  const Entry* end() const { return entries_.data() + entries_.size(); }

 private:
  friend class Dictionary;
  std::vector<Entry> entries_;
};

// The accessors that every walk over a value goes through.
inline std::size_t Array::size() const { return items_ ? items_->size() : 0; }
inline const Value* Array::begin() const { return items_ ? items_->data() : nullptr; }
inline const Value* Array::end() const { return items_ ? items_->data() + items_->size() : nullptr; }
inline std::size_t Dictionary::size() const { return entries_ ? entries_->size() : 0; }
inline const Entry* Dictionary::begin() const { return entries_ ? entries_->data() : nullptr; }
inline const Entry* Dictionary::end() const {
  return entries_ ? entries_->data() + entries_->size() : nullptr;
}

inline bool Dictionary::isSameObject(const Dictionary& other) const { return entries_ == other.entries_; }

Array Value::arrayOf(const Container auto& items) {
  using Item = typename std::remove_cvref_t<decltype(items)>::value_type;
  std::vector<Value> values;
  for (const Item& item : items) {
    if constexpr (std::same_as<typename Held<Item>::Type, Item>) {
      values.emplace_back(item);
    } else if (item) {
      values.emplace_back(*item);
    }
  }
  return Array(std::move(values));
}

Dictionary Value::dictionaryOf(const Map auto& entries) {
  std::vector<DictionaryItem> items;
  for (const auto& [key, value] : entries) items.emplace_back(key, value);
  return Dictionary::ofItems(items);
}

// "%@" of a value that may be missing: "(null)" for no value, else its description.
std::string description(const std::optional<Value>& value);

}  // namespace platform
