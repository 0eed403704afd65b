#include "platform/foundation/internal/StoredList.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <span>

#include "platform/foundation/Random.h"
#include "platform/foundation/internal/StoredForm.h"

namespace platform {

namespace {

constexpr std::string_view kMarkBegin = R"({"$items":")";
constexpr std::string_view kMarkEnd = R"("})";
constexpr std::string_view kArrayKind = "array";
constexpr std::string_view kDictionaryKind = "dictionary";
constexpr std::size_t kLong = 2048;  // bytes; what is shorter is written as fast in one piece
constexpr std::int64_t kFarthestPlace = std::int64_t{1} << 62;  // of those that are counted on from

std::string_view kindOf(const Value& value) { return value.isArray() ? kArrayKind : kDictionaryKind; }

std::size_t itemCount(const Value& value) {
  return value.isArray() ? value.array().size() : value.dictionary().size();
}

std::optional<std::string> itemText(const Value& value, std::size_t index) {
  std::optional<std::string> text;
  if (value.isArray()) {
    text = storedForm(Array{value.array()[index]});
  } else {
    MutableDictionary entry;
    const auto& [key, member] = value.dictionary().begin()[index];
    entry.append(key, member);
    text = storedForm(Dictionary(std::move(entry)));
  }
  if (!text) return text;
  text->pop_back();
  text->erase(0, 1);
  return text;
}

// Whether both are certain to have the same stored form, which values that are equal need not have: 3
// and 3.0.
bool isSameItem(const Value& a, const Value& b) {
  if (a.isString() && b.isString()) return a.string() == b.string();
  if (a.isDictionary() && b.isDictionary()) return a.dictionary().isSameObject(b.dictionary());
  if (a.isInteger() && b.isInteger()) return a.integer() == b.integer();
  return (a.isBoolean() && b.isBoolean() && a.boolean() == b.boolean()) || (a.isNull() && b.isNull());
}

bool isSameItem(const Entry& a, const Entry& b) {
  return isSameItem(a.first, b.first) && isSameItem(a.second, b.second);
}

// Where two lists differ: what stands between the items that they begin with alike, and those that they end
// with alike.
struct Difference {
  std::size_t alikeAtBegin;
  std::size_t alikeAtEnd;
};

template <class Items>
Difference differenceOf(const Items& before, const Items& after) {
  const std::size_t shorter = std::min(before.size(), after.size());
  std::size_t atBegin = 0;
  while (atBegin < shorter && isSameItem(before.begin()[atBegin], after.begin()[atBegin])) ++atBegin;
  std::size_t atEnd = 0;
  while (atEnd < shorter - atBegin && isSameItem(before.end()[-1 - static_cast<std::ptrdiff_t>(atEnd)],
                                                 after.end()[-1 - static_cast<std::ptrdiff_t>(atEnd)]))
    ++atEnd;
  return {atBegin, atEnd};
}

// Places for items between two others, those that have become free first; none when there is no room.
std::optional<std::vector<std::int64_t>> placesFor(std::size_t count, std::span<const std::int64_t> before,
                                                   std::span<const std::int64_t> freed,
                                                   std::span<const std::int64_t> after) {
  std::vector<std::int64_t> places(freed.begin(), freed.begin() + std::min(count, freed.size()));
  const auto missing = static_cast<std::int64_t>(count - places.size());
  if (missing == 0) return places;
  std::int64_t last = after.empty() ? -1 : after.front() - missing - 1;
  if (!before.empty()) last = before.back();
  if (!freed.empty()) last = freed.back();
  if (!after.empty() && after.front() - last <= missing) return std::nullopt;
  for (std::int64_t i = 1; i <= missing; ++i) places.push_back(last + i);
  return places;
}

std::string newOrigin(const Value& value) {
  std::string origin(kindOf(value));
  origin += ' ';
  for (int i = 0; i < 2; ++i) origin += std::to_string(arc4random());
  return origin;
}

std::string joined(const StoredText& stored, bool isArray) {
  std::string text(1, isArray ? '[' : '{');
  for (const StoredItem& item : stored.items) {
    if (text.size() > 1) text += ',';
    text += item.text.value_or(std::string());
  }
  return text + (isArray ? ']' : '}');
}

}  // namespace

std::string StoredList::mark() const {
  return std::string(kMarkBegin) + origin + ' ' + std::to_string(number) + std::string(kMarkEnd);
}

bool isMarkOfList(std::string_view text) { return text.starts_with(kMarkBegin) && text.ends_with(kMarkEnd); }

std::optional<ListChange> changeTo(const Value& value) {
  auto text = storedForm(value);
  if (!text) return std::nullopt;
  if (text->size() <= kLong || !(value.isArray() || value.isDictionary()))
    return ListChange{{std::move(text)}, nullptr};
  const auto list = std::make_shared<StoredList>(StoredList{value, {}, newOrigin(value), 0});
  ListChange whole{{list->mark()}, list};
  for (std::size_t i = 0; i < itemCount(value); ++i) {
    list->places.push_back(static_cast<std::int64_t>(i));
    whole.change.items.push_back({list->places.back(), itemText(value, i)});
  }
  return whole;
}

std::optional<ListChange> changeTo(const Value& value, const StoredList& before) {
  const bool isSameKind =
      value.isArray() ? before.value.isArray() : value.isDictionary() && before.value.isDictionary();
  if (!isSameKind || itemCount(value) == 0) return std::nullopt;
  const Difference alike = value.isArray() ? differenceOf(before.value.array(), value.array())
                                           : differenceOf(before.value.dictionary(), value.dictionary());
  const std::span<const std::int64_t> places = before.places;
  const bool hasForeign =
      !places.empty() && (places.front() < -kFarthestPlace || places.back() > kFarthestPlace);
  if (hasForeign) return std::nullopt;
  const auto atBegin = places.first(alike.alikeAtBegin);
  const auto atEnd = places.last(alike.alikeAtEnd);
  const auto freed = places.subspan(atBegin.size(), places.size() - atBegin.size() - atEnd.size());
  const std::size_t added = itemCount(value) - atBegin.size() - atEnd.size();
  const auto taken = placesFor(added, atBegin, freed, atEnd);
  if (!taken) return std::nullopt;

  const auto list = std::make_shared<StoredList>(StoredList{value, {}, before.origin, before.number + 1});
  list->places.reserve(itemCount(value));
  for (const auto& part : {atBegin, std::span<const std::int64_t>(*taken), atEnd})
    list->places.insert(list->places.end(), part.begin(), part.end());
  ListChange difference{{list->mark()}, list};
  difference.change.previous = before.mark();
  for (std::size_t i = 0; i < added; ++i) {
    auto text = itemText(value, atBegin.size() + i);
    if (!text) return std::nullopt;
    difference.change.items.push_back({(*taken)[i], std::move(text)});
  }
  for (std::size_t i = added; i < freed.size(); ++i)
    difference.change.items.push_back({freed[i], std::nullopt});
  return difference;
}

std::shared_ptr<const StoredList> listIn(const StoredText& stored) {
  if (!isMarkOfList(stored.text)) return nullptr;
  std::string_view mark = stored.text;
  mark = mark.substr(kMarkBegin.size(), mark.size() - kMarkBegin.size() - kMarkEnd.size());
  const std::size_t blank = mark.rfind(' ');
  if (blank == std::string_view::npos) return nullptr;
  StoredList list{{}, {}, std::string(mark.substr(0, blank)), 0};
  std::from_chars(mark.data() + blank + 1, mark.data() + mark.size(), list.number);
  auto value = fromStoredForm(joined(stored, list.origin.starts_with(kArrayKind)));
  if (!value || !(value->isArray() || value->isDictionary())) return nullptr;
  if (itemCount(*value) != stored.items.size()) return nullptr;
  list.value = std::move(*value);
  std::transform(stored.items.begin(), stored.items.end(), std::back_inserter(list.places),
                 [](const StoredItem& item) { return item.place; });
  return std::make_shared<StoredList>(std::move(list));
}

}  // namespace platform
