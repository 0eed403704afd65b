#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/foundation/Value.h"

namespace platform {

// A row of one item: an array's value, or a dictionary's entry, `"key":value`.
struct StoredItem {
  std::int64_t place;               // items stand in the order of their places, which may have gaps
  std::optional<std::string> text;  // none, in a change: the row goes
};

// What stands under a key.
struct StoredText {
  std::string text;  // of the key's own row
  std::vector<StoredItem> items;
};

// What is to stand under a key.
struct StoredChange {
  StoredChange(std::optional<std::string> itsText) : text(std::move(itsText)) {}
  StoredChange(std::string itsText) : text(std::move(itsText)) {}
  StoredChange(const char* itsText) : text(itsText) {}

  std::optional<std::string> text;  // none removes the key, and its items
  std::vector<StoredItem> items;
  // None: these are all items. Else the others stay, and nothing is done unless the key's own row has this
  // text.
  std::optional<std::string> previous;
};

// A long array or dictionary as it is stored: a row an item, so that a change costs what has changed. The
// key's own row holds a mark instead, {"$items":"<kind> <origin> <number>"}: each change of the items counts
// its number up, and each writing of all of them gives it a new origin, so that one mark stands for one
// content. Immutable.
struct StoredList {
  Value value;
  std::vector<std::int64_t> places;  // of its items
  std::string origin;                // "<kind> <origin>"
  std::uint64_t number;

  std::string mark() const;
};

// A change, and what is stored after it; no list where the value is one text.
struct ListChange {
  StoredChange change;
  std::shared_ptr<const StoredList> list;
};

// How a value is stored from scratch. None when it has no stored form.
std::optional<ListChange> changeTo(const Value& value);
// The same where a list is known to be stored: only what differs, if that can be said by changes of rows.
std::optional<ListChange> changeTo(const Value& value, const StoredList& before);

bool isMarkOfList(std::string_view text);
// Null for what is no list.
std::shared_ptr<const StoredList> listIn(const StoredText& stored);

}  // namespace platform
