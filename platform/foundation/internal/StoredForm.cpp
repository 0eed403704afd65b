#include "platform/foundation/internal/StoredForm.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>
#include <vector>

#include "platform/foundation/NSJSONSerialization.h"

namespace platform {

namespace {

constexpr std::string_view kDateKey = "$date";
constexpr std::string_view kRealKey = "$real";

bool hasMarkedKey(const Dictionary& entries) {
  return std::any_of(entries.begin(), entries.end(),
                     [](const Entry& entry) { return entry.first.text().starts_with('$'); });
}

// Whether plain JSON would not bring the value back as it is.
bool needsMarks(const Value& value) {
  if (value.isDate()) return true;
  if (value.isReal()) return !std::isfinite(value.real());
  if (value.isArray()) return std::any_of(value.array().begin(), value.array().end(), needsMarks);
  if (!value.isDictionary()) return false;
  const Dictionary& entries = value.dictionary();
  return hasMarkedKey(entries) || std::any_of(entries.begin(), entries.end(),
                                              [](const Entry& entry) { return needsMarks(entry.second); });
}

Value withMarks(const Value& value) {
  if (value.isDate()) return {{kDateKey, value.date().timeIntervalSince1970()}};
  if (value.isReal() && !std::isfinite(value.real())) {
    if (std::isnan(value.real())) return {{kRealKey, "nan"}};
    return {{kRealKey, value.real() > 0 ? "inf" : "-inf"}};
  }
  if (value.isArray()) {
    std::vector<Value> items(value.array().size());
    std::transform(value.array().begin(), value.array().end(), items.begin(), withMarks);
    return Array(std::move(items));
  }
  if (!value.isDictionary()) return value;
  MutableDictionary entries;
  entries.reserve(value.dictionary().size());
  for (const auto& [key, member] : value.dictionary()) {
    const bool isMarked = key.text().starts_with('$');
    entries.append(isMarked ? Value("$" + std::string(key.text())) : key, withMarks(member));
  }
  return Dictionary(std::move(entries));
}

Value withoutMarks(const Value& value) {
  if (value.isArray()) {
    std::vector<Value> items(value.array().size());
    std::transform(value.array().begin(), value.array().end(), items.begin(), withoutMarks);
    return Array(std::move(items));
  }
  if (!value.isDictionary()) return value;
  const Dictionary& entries = value.dictionary();
  if (const Value* seconds = entries.find(kDateKey))
    return NSDate::withTimeIntervalSince1970(seconds->doubleValue());
  if (const Value* name = entries.find(kRealKey)) {
    if (name->text() == "nan") return std::numeric_limits<double>::quiet_NaN();
    return name->text() == "inf" ? HUGE_VAL : -HUGE_VAL;
  }
  MutableDictionary members;
  members.reserve(entries.size());
  for (const auto& [key, member] : entries) {
    const bool isMarked = key.text().starts_with("$$");
    members.append(isMarked ? Value(key.text().substr(1)) : key, withoutMarks(member));
  }
  return Dictionary(std::move(members));
}

}  // namespace

std::optional<std::string> storedForm(const Value& value) {
  // JSON text proper starts with a collection: the value travels as the one item of an array.
  auto text = NSJSONSerialization::dataWithJSONObject(Array{needsMarks(value) ? withMarks(value) : value});
  if (!text) return std::nullopt;
  text->pop_back();
  text->erase(0, 1);
  return text;
}

std::optional<Value> fromStoredForm(std::string_view text) {
  std::optional<Value> value = NSJSONSerialization::JSONObjectWithData(text);
  const bool mayHoldMarks = text.find("\"$") != std::string_view::npos;
  return value && mayHoldMarks ? withoutMarks(*value) : value;
}

}  // namespace platform
