#include "platform/runtime/SEL.h"

#include <unordered_set>

#include "platform/runtime/Mutex.h"

namespace platform {
namespace {

struct SelectorTable {
  Mutex mutex;
  std::unordered_set<std::string> names PLATFORM_GUARDED_BY(mutex);  // its nodes never move
};

SelectorTable& selectorTable() {
  static SelectorTable& table = *new SelectorTable;
  return table;
}

}  // namespace

SEL::SEL(std::string_view name) {
  SelectorTable& table = selectorTable();
  MutexLock lock(table.mutex);
  name_ = &*table.names.emplace(name).first;
}

const std::string& NSStringFromSelector(SEL selector) {
  static const std::string& none = *new std::string;
  return selector ? *selector.name_ : none;
}

SEL NSSelectorFromString(std::string_view name) { return SEL(name); }

}  // namespace platform
