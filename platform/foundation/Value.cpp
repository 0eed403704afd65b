#include "platform/foundation/Value.h"

#include <algorithm>
#include <span>
#include <unordered_map>

#include "platform/foundation/Decimal.h"
#include "platform/runtime/Class.h"
#include "platform/runtime/NSObject.h"

namespace platform {

namespace {

// Up to this many keys, comparing each with each is quicker than hashing them.
constexpr std::size_t kScannedKeys = 16;
// So few are looked for one by one, whatever they are merged into.
constexpr std::size_t kFewKeys = 4;

std::size_t hashOf(const Value& key) {
  if (key.isString()) return std::hash<String>()(key.string());
  if (key.isNumber() && !key.isBoolean()) return std::hash<double>()(key.doubleValue());
  return static_cast<std::size_t>(key.className().size());
}

struct KeyHash {
  std::size_t operator()(const Value* key) const { return hashOf(*key); }
};
struct KeyEqual {
  bool operator()(const Value* a, const Value* b) const { return *a == *b; }
};

// Most keys are texts, most of them of different length.
bool isSameKey(const Value& a, const Value& b) {
  return a.isString() && b.isString() ? a.string() == b.string() : a == b;
}

const Entry* findEntry(const Entry* first, const Entry* last, std::string_view key) {
  return std::find_if(first, last, [key](const Entry& entry) {
    return entry.first.isString() && entry.first.string().view() == key;
  });
}

// The entries that have a value, without those whose key is given again: the last value wins, in the place of
// the first.
std::vector<Entry> entriesOf(std::span<const DictionaryItem> given) {
  std::vector<Entry> entries;
  entries.reserve(given.size());
  std::unordered_map<const Value*, std::size_t, KeyHash, KeyEqual> places;
  const bool areMany = given.size() > kScannedKeys;
  const auto placeOf = [&](const Value& key) {
    if (areMany) return places.try_emplace(&key, entries.size()).first->second;
    const auto isSame = [&key](const Entry& entry) { return isSameKey(entry.first, key); };
    const auto same = std::find_if(entries.begin(), entries.end(), isSame);
    return static_cast<std::size_t>(same - entries.begin());
  };
  for (const DictionaryItem& item : given) {
    if (!item.value) continue;
    const std::size_t place = placeOf(item.key);
    if (place == entries.size()) {
      entries.emplace_back(item.key, *item.value);
    } else {
      entries[place].second = *item.value;
    }
  }
  return entries;
}

}  // namespace

Array::Array(std::initializer_list<Value> items) : Array(std::vector<Value>(items)) {}

Array::Array(std::vector<Value> items)
    : items_(items.empty() ? nullptr : std::make_shared<const std::vector<Value>>(std::move(items))) {}

const Value& Array::operator[](std::size_t index) const { return items_->at(index); }

Dictionary::Dictionary(std::initializer_list<DictionaryItem> items) : Dictionary(ofItems(items)) {}

Dictionary Dictionary::ofItems(std::span<const DictionaryItem> items) {
  Dictionary made;
  std::vector<Entry> entries = entriesOf(items);
  if (!entries.empty()) made.entries_ = std::make_shared<const std::vector<Entry>>(std::move(entries));
  return made;
}

Dictionary::Dictionary(MutableDictionary&& entries) {
  if (!entries.empty()) entries_ = std::make_shared<const std::vector<Entry>>(std::move(entries.entries_));
}

Dictionary::Dictionary(const MutableDictionary& entries) {
  if (!entries.empty()) entries_ = std::make_shared<const std::vector<Entry>>(entries.entries_);
}

const Value* Dictionary::find(std::string_view key) const {
  const Entry* entry = findEntry(begin(), end(), key);
  return entry == end() ? nullptr : &entry->second;
}

MutableDictionary::MutableDictionary(std::initializer_list<DictionaryItem> items)
    : entries_(entriesOf(items)) {}

MutableDictionary::MutableDictionary(const Dictionary& entries) : entries_(entries.begin(), entries.end()) {}

void MutableDictionary::set(Value key, std::optional<Value> value) {
  auto same =
      std::find_if(entries_.begin(), entries_.end(), [&](const Entry& entry) { return entry.first == key; });
  if (!value) {
    if (same != entries_.end()) entries_.erase(same);
  } else if (same != entries_.end()) {
    same->second = std::move(*value);
  } else {
    entries_.emplace_back(std::move(key), std::move(*value));
  }
}

void MutableDictionary::remove(std::string_view key) { set(Value(key), std::nullopt); }

void MutableDictionary::merge(const Dictionary& other) {
  if (other.size() <= kFewKeys || entries_.size() + other.size() <= kScannedKeys) {
    for (const Entry& entry : other) set(entry.first, entry.second);
    return;
  }
  std::unordered_map<const Value*, std::size_t, KeyHash, KeyEqual> places;
  const std::size_t before = entries_.size();
  entries_.reserve(before + other.size());  // no entry moves below: `places` points into them
  for (std::size_t i = 0; i < before; ++i) places.emplace(&entries_[i].first, i);
  for (const Entry& entry : other) {
    const auto same = places.find(&entry.first);
    if (same == places.end()) {
      entries_.push_back(entry);
    } else {
      entries_[same->second].second = entry.second;
    }
  }
}

const Value* MutableDictionary::find(std::string_view key) const {
  const Entry* entry = findEntry(begin(), end(), key);
  return entry == end() ? nullptr : &entry->second;
}

double Value::real() const {
  return is<float>() ? doubleOfDigits(std::get<float>(data_)) : std::get<double>(data_);
}

double Value::doubleValue() const {
  if (isBoolean()) return boolean() ? 1 : 0;
  if (isInteger()) return static_cast<double>(integer());
  if (isUnsigned()) return static_cast<double>(unsignedInteger());
  return isReal() ? real() : 0;
}

std::string_view Value::className() const {
  if (isNull()) return "NSNull";
  if (isNumber()) return "NSNumber";
  if (isString()) return "NSString";
  if (isDate()) return "NSDate";
  if (isArray()) return "NSArray";
  if (isDictionary()) return "NSDictionary";
  return object()->isa().name();
}

bool operator==(const Value& a, const Value& b) {
  if (a.isBoolean() || b.isBoolean()) return a.isBoolean() && b.isBoolean() && a.boolean() == b.boolean();
  const auto isWhole = [](const Value& value) { return value.isInteger() || value.isUnsigned(); };
  if (isWhole(a) && isWhole(b))
    return a.isInteger() ? b.isInteger() && a.integer() == b.integer()
                         : b.isUnsigned() && a.unsignedInteger() == b.unsignedInteger();
  if (a.isNumber() && b.isNumber()) return a.doubleValue() == b.doubleValue();
  if (a.data_.index() != b.data_.index()) return false;
  if (a.isString()) return a.string() == b.string();
  if (a.isDate()) return a.date() == b.date();
  if (a.isObject()) return a.object() == b.object();
  if (a.isArray()) return std::equal(a.array().begin(), a.array().end(), b.array().begin(), b.array().end());
  if (!a.isDictionary()) return true;
  const Dictionary& left = a.dictionary();
  const Dictionary& right = b.dictionary();
  if (left.size() != right.size()) return false;
  return std::all_of(left.begin(), left.end(), [&right](const Entry& entry) {
    return std::any_of(right.begin(), right.end(), [&entry](const Entry& other) { return entry == other; });
  });
}

}  // namespace platform
