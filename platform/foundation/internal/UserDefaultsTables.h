#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/foundation/internal/StoredList.h"

struct sqlite3;
struct sqlite3_stmt;

namespace platform {

// The tables of one suite of user defaults on an open connection: a row a key, and for a long array or
// dictionary a row an item, which goes with its key's.
//
// Operations answer SQLite's codes. Owned by its UserDefaultsDatabase, which lets go of it before it closes
// the connection; not thread-safe.
class UserDefaultsTables {
 public:
  explicit UserDefaultsTables(sqlite3& connection) : connection_(connection) {}

  // SQLITE_ERROR where a table is missing, or is another's.
  int prepareAll();
  int prepareToRead();
  int create();

  // The key's text, or none; the items of a list too, unless its mark is the known one. Of one moment.
  int read(std::string_view key, std::string_view knownMark, std::optional<StoredText>& stored);
  using Changes = std::map<std::string, StoredChange, std::less<>>;  // by key
  // What is to be made of what is stored when it is written, or of none; no change leaves that as it is. A
  // list of the known mark comes without its items.
  struct Revision {
    std::string knownMark;
    std::function<std::optional<StoredChange>(const std::optional<StoredText>& stored)> make;
  };
  using Revisions = std::map<std::string, Revision, std::less<>>;  // by key
  // All of them, or none.
  static constexpr int kOutdated = -1;  // a list is not the one that a change is of
  int write(const Changes& changes, const Revisions& revisions);
  // Unless the key has a text.
  int writeIfAbsent(std::string_view key, const std::string& text);

 private:
  struct Finalize {
    void operator()(sqlite3_stmt* statement) const;
  };
  using Statement = std::unique_ptr<sqlite3_stmt, Finalize>;

  int readItems(std::string_view key, StoredText& stored);
  int applyTogether(const Changes& changes, const Revisions& revisions);
  void rollBack();
  int applyAll(const Changes& changes, const Revisions& revisions);
  int apply(std::string_view key, const StoredChange& change);
  int applyToRow(std::string_view key, const StoredChange& change);
  int applyToItem(std::string_view key, const StoredItem& item);
  int prepareItems();
  int prepare(Statement& statement, const char* text);
  int execute(const char* statements);

  sqlite3& connection_;
  Statement select_;
  Statement upsert_;
  Statement delete_;
  // Prepared with the first list that is written.
  Statement replaceMark_;
  Statement selectItems_;
  Statement upsertItem_;
  Statement deleteItem_;
  Statement deleteItems_;
};

}  // namespace platform
