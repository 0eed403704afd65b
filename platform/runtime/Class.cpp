#include "platform/runtime/Class.h"

#include "platform/runtime/RuntimeLog.h"

namespace platform {
namespace {

struct ClassTable {
  Mutex mutex;
  // Keyed by each record's own name.
  std::unordered_map<std::string_view, Class*> classes PLATFORM_GUARDED_BY(mutex);
  std::vector<std::unique_ptr<Class>> ofTakenNames PLATFORM_GUARDED_BY(mutex);
};

ClassTable& classTable() {
  static ClassTable& table = *new ClassTable;
  return table;
}

}  // namespace

Class::Class(std::string_view name, const std::type_info& type, const Class* superclass)
    : name_(name), type_(type), superclass_(superclass) {}

bool Class::enterQuietly(std::unique_ptr<Class> record) {
  ClassTable& table = classTable();
  MutexLock lock(table.mutex);
  if (table.classes.emplace(record->name(), record.get()).second) {
    record.release();  // for good
    return true;
  }
  table.ofTakenNames.push_back(std::move(record));
  return false;
}

Class& Class::derive(std::string_view name, Class& superclass, const std::type_info& type) {
  std::unique_ptr<Class> record(new Class(name, type, &superclass));
  Class& derived = *record;
  enterQuietly(std::move(record));
  return derived;
}

Class& Class::enter(std::unique_ptr<Class> record) {
  Class& entered = *record;
  if (!enterQuietly(std::move(record))) {
    runtimeLog("There is more than one class named " + entered.name() +
               "; NSClassFromString answers the first");
  }
  return entered;
}

void Class::addInstanceVariable(std::string_view name,
                                std::function<const NSObject*(const NSObject&)> value) {
  ivars_.push_back({std::string(name), std::move(value)});
}

void Class::addAction(SEL selector, Action action) {
  actions_.insert_or_assign(selector, std::move(action));
  addSelector(selector);
}

void Class::addKey(std::string_view name, Key key) {
  keys_.insert_or_assign(std::string(name), std::move(key));
  addSelector(SEL(name));
}

bool Class::isSubclassOf(const Class& other) const {
  for (const Class* cls = this; cls; cls = cls->superclass_) {
    if (cls == &other) return true;
  }
  return false;
}

bool Class::respondsToSelector(SEL selector) const {
  for (const Class* cls = this; cls; cls = cls->superclass_) {
    MutexLock lock(cls->mutex_);
    if (cls->selectors_.contains(selector)) return true;
  }
  return false;
}

void Class::addSelector(SEL selector) {
  MutexLock lock(mutex_);
  selectors_.insert(selector);
}

Class::Performed Class::perform(NSObject& receiver, SEL action, NSObject* sender, NSObject* event) const {
  for (const Class* cls = this; cls; cls = cls->superclass_) {
    const auto found = cls->actions_.find(action);
    if (found == cls->actions_.end()) continue;
    return found->second(receiver, sender, event) ? Performed::Yes : Performed::WrongArgument;
  }
  return Performed::NoSuchAction;
}

KeyValue Class::valueForKey(const NSObject& receiver, std::string_view key) const {
  const Key* found = findKey(key);
  if (!found) throw UndefinedKeyError("The class " + name_ + " has no key " + std::string(key));
  return found->get(receiver);
}

bool Class::announcesKey(std::string_view key) const {
  for (const Class* cls = this; cls; cls = cls->superclass_) {
    const auto found = cls->keys_.find(key);
    if (found != cls->keys_.end() && found->second.isAnnounced) return true;
  }
  return false;
}

const Class::Key* Class::findKey(std::string_view key) const {
  for (const Class* cls = this; cls; cls = cls->superclass_) {
    const auto found = cls->keys_.find(key);
    if (found != cls->keys_.end()) return &found->second;
  }
  return nullptr;
}

const Class* NSClassFromString(std::string_view name) {
  ClassTable& table = classTable();
  MutexLock lock(table.mutex);
  const auto found = table.classes.find(name);
  return found == table.classes.end() ? nullptr : found->second;
}

const std::string& NSStringFromClass(const Class& cls) { return cls.name(); }

}  // namespace platform
