#include "platform/foundation/internal/UserDefaultsTables.h"

#include <sqlite3.h>

namespace platform {

namespace {

// The keys stand in an index of their own: in a table ordered by key, SQLite reads a large row whole to
// compare its key.
constexpr const char* kCreate =
    "PRAGMA journal_mode=WAL;"
    "CREATE TABLE IF NOT EXISTS defaults(key TEXT PRIMARY KEY NOT NULL, value TEXT NOT NULL)";
// Made with the first list. Triggers, so that items also go when a version writes that knows of none.
constexpr const char* kCreateItems =
    "CREATE TABLE IF NOT EXISTS defaults_items(key TEXT NOT NULL, place INTEGER NOT NULL,"
    " value TEXT NOT NULL, PRIMARY KEY(key, place));"
    "CREATE TRIGGER IF NOT EXISTS items_of_removed AFTER DELETE ON defaults"
    " BEGIN DELETE FROM defaults_items WHERE key = old.key; END;"
    "CREATE TRIGGER IF NOT EXISTS items_of_replaced AFTER UPDATE ON defaults"
    " WHEN new.value NOT GLOB '{\"$items\":*'"
    " BEGIN DELETE FROM defaults_items WHERE key = old.key; END";

constexpr const char* kSelect = "SELECT value FROM defaults WHERE key = ?1";
constexpr const char* kUpsert =
    "INSERT INTO defaults(key, value) VALUES(?1, ?2)"
    " ON CONFLICT(key) DO UPDATE SET value = excluded.value";
constexpr const char* kInsertIfAbsent =
    "INSERT INTO defaults(key, value) VALUES(?1, ?2) ON CONFLICT(key) DO NOTHING";
constexpr const char* kDelete = "DELETE FROM defaults WHERE key = ?1";
constexpr const char* kReplaceMark = "UPDATE defaults SET value = ?2 WHERE key = ?1 AND value = ?3";
constexpr const char* kSelectItems = "SELECT place, value FROM defaults_items WHERE key = ?1 ORDER BY place";
constexpr const char* kUpsertItem =
    "INSERT INTO defaults_items(key, place, value) VALUES(?1, ?2, ?3)"
    " ON CONFLICT(key, place) DO UPDATE SET value = excluded.value";
constexpr const char* kDeleteItem = "DELETE FROM defaults_items WHERE key = ?1 AND place = ?2";
constexpr const char* kDeleteItems = "DELETE FROM defaults_items WHERE key = ?1";

int bindText(sqlite3_stmt* statement, int index, std::string_view text) {
  // SQLite takes a null pointer for NULL, not for an empty text.
  const char* bytes = text.data() ? text.data() : "";
  return sqlite3_bind_text64(statement, index, bytes, text.size(), SQLITE_STATIC, SQLITE_UTF8);
}

std::optional<std::string> textOf(sqlite3_stmt* statement, int column) {
  const auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
  if (!bytes) return std::nullopt;
  return std::string(bytes, static_cast<std::size_t>(sqlite3_column_bytes(statement, column)));
}

int run(sqlite3_stmt* statement) {
  sqlite3_step(statement);
  return sqlite3_reset(statement);
}

}  // namespace

void UserDefaultsTables::Finalize::operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }

int UserDefaultsTables::prepareAll() {
  int code = prepareToRead();
  if (code == SQLITE_OK) code = prepare(upsert_, kUpsert);
  if (code == SQLITE_OK) code = prepare(delete_, kDelete);
  return code;
}

int UserDefaultsTables::prepareToRead() { return prepare(select_, kSelect); }

int UserDefaultsTables::create() {
  const int code = execute(kCreate);
  return code == SQLITE_OK ? prepareAll() : code;
}

int UserDefaultsTables::prepareItems() {
  int code = prepare(upsertItem_, kUpsertItem);
  if (code == SQLITE_ERROR) {
    code = execute(kCreateItems);
    if (code == SQLITE_OK) code = prepare(upsertItem_, kUpsertItem);
  }
  if (code == SQLITE_OK) code = prepare(deleteItem_, kDeleteItem);
  if (code == SQLITE_OK) code = prepare(deleteItems_, kDeleteItems);
  return code;
}

// The items are read while the key's row is being read, that is, in one transaction.
int UserDefaultsTables::read(std::string_view key, std::string_view knownMark,
                             std::optional<StoredText>& stored) {
  sqlite3_stmt* statement = select_.get();
  bindText(statement, 1, key);
  int code = sqlite3_step(statement);
  int failure = SQLITE_OK;
  if (code == SQLITE_ROW) {
    auto text = textOf(statement, 0);
    if (text) {
      stored.emplace(StoredText{std::move(*text), {}});
      if (isMarkOfList(stored->text) && stored->text != knownMark) failure = readItems(key, *stored);
    } else {
      failure = sqlite3_extended_errcode(&connection_);
    }
  }
  code = sqlite3_reset(statement);
  return code != SQLITE_OK ? code : failure;
}

int UserDefaultsTables::readItems(std::string_view key, StoredText& stored) {
  int failure = prepare(selectItems_, kSelectItems);
  if (failure == SQLITE_ERROR) return SQLITE_OK;  // there is no table of items
  if (failure != SQLITE_OK) return failure;
  bindText(selectItems_.get(), 1, key);
  while (failure == SQLITE_OK && sqlite3_step(selectItems_.get()) == SQLITE_ROW) {
    stored.items.push_back({sqlite3_column_int64(selectItems_.get(), 0), textOf(selectItems_.get(), 1)});
    if (!stored.items.back().text) failure = sqlite3_extended_errcode(&connection_);
  }
  const int code = sqlite3_reset(selectItems_.get());
  return code != SQLITE_OK ? code : failure;
}

int UserDefaultsTables::write(const Changes& changes, const Revisions& revisions) {
  const bool isOneRow = changes.size() == 1 && revisions.empty() && changes.begin()->second.items.empty();
  return isOneRow ? applyToRow(changes.begin()->first, changes.begin()->second)
                  : applyTogether(changes, revisions);
}

int UserDefaultsTables::writeIfAbsent(std::string_view key, const std::string& text) {
  Statement insert;
  int code = prepare(insert, kInsertIfAbsent);
  if (code != SQLITE_OK) return code;
  bindText(insert.get(), 1, key);
  code = bindText(insert.get(), 2, text);
  return code == SQLITE_OK ? run(insert.get()) : code;
}

int UserDefaultsTables::applyTogether(const Changes& changes, const Revisions& revisions) {
  int code = execute("BEGIN IMMEDIATE");
  if (code != SQLITE_OK) return code;
  try {
    code = applyAll(changes, revisions);
  } catch (...) {  // a revision had no memory
    rollBack();
    throw;
  }
  if (code == SQLITE_OK) code = execute("COMMIT");
  if (code != SQLITE_OK) rollBack();
  return code;
}

// SQLite has rolled back some failures by itself; there is none open then. The table of items may have been
// made in vain.
void UserDefaultsTables::rollBack() {
  execute("ROLLBACK");
  for (Statement* statement : {&selectItems_, &upsertItem_, &deleteItem_, &deleteItems_}) statement->reset();
}

int UserDefaultsTables::applyAll(const Changes& changes, const Revisions& revisions) {
  int code = SQLITE_OK;
  for (const auto& [key, change] : changes) {
    code = apply(key, change);
    if (code != SQLITE_OK) return code;
  }
  for (const auto& [key, revision] : revisions) {
    std::optional<StoredText> stored;
    code = read(key, revision.knownMark, stored);
    const auto change = code == SQLITE_OK ? revision.make(stored) : std::nullopt;
    if (change) code = apply(key, *change);
    if (code != SQLITE_OK) return code;
  }
  return code;
}

int UserDefaultsTables::apply(std::string_view key, const StoredChange& change) {
  int code = applyToRow(key, change);
  if (code != SQLITE_OK || change.items.empty()) return code;
  code = prepareItems();
  if (code == SQLITE_OK && !change.previous) {
    bindText(deleteItems_.get(), 1, key);
    code = run(deleteItems_.get());
  }
  for (const StoredItem& item : change.items) {
    if (code != SQLITE_OK) return code;
    code = applyToItem(key, item);
  }
  return code;
}

int UserDefaultsTables::applyToRow(std::string_view key, const StoredChange& change) {
  Statement& kept = change.previous ? replaceMark_ : change.text ? upsert_ : delete_;
  int code = prepare(kept, change.previous ? kReplaceMark : change.text ? kUpsert : kDelete);
  if (code != SQLITE_OK) return code;
  bindText(kept.get(), 1, key);
  if (change.text) code = bindText(kept.get(), 2, *change.text);
  if (change.previous) bindText(kept.get(), 3, *change.previous);
  if (code == SQLITE_OK) code = run(kept.get());
  const bool isOutdated = change.previous && code == SQLITE_OK && sqlite3_changes(&connection_) == 0;
  return isOutdated ? kOutdated : code;
}

int UserDefaultsTables::applyToItem(std::string_view key, const StoredItem& item) {
  sqlite3_stmt* statement = item.text ? upsertItem_.get() : deleteItem_.get();
  bindText(statement, 1, key);
  sqlite3_bind_int64(statement, 2, item.place);
  const int code = item.text ? bindText(statement, 3, *item.text) : SQLITE_OK;
  return code == SQLITE_OK ? run(statement) : code;
}

int UserDefaultsTables::prepare(Statement& statement, const char* text) {
  if (statement) return SQLITE_OK;
  sqlite3_stmt* prepared = nullptr;
  const int code = sqlite3_prepare_v3(&connection_, text, -1, SQLITE_PREPARE_PERSISTENT, &prepared, nullptr);
  statement.reset(prepared);
  return code;
}

int UserDefaultsTables::execute(const char* statements) {
  return sqlite3_exec(&connection_, statements, nullptr, nullptr, nullptr);
}

}  // namespace platform
