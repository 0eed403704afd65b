#include "platform/qt/QtClasses.h"

#include <QObject>
#include <map>
#include <utility>

namespace platform {

Class& classOf(const QMetaObject& metaObject, Class& base, const std::type_info& type) {
  if (&metaObject == &QObject::staticMetaObject) return base;
  static auto& classes = *new std::map<std::pair<const QMetaObject*, const Class*>, Class*>;
  Class*& cls = classes[{&metaObject, &base}];
  // A library that was unloaded may have left its place to another's.
  if (cls && cls->name() == metaObject.className()) return *cls;
  const QMetaObject* const above = metaObject.superClass();
  Class& superclass = above ? classOf(*above, base, type) : base;
  cls = &Class::derive(metaObject.className(), superclass, type);
  return *cls;
}

Class& classNamed(const QString& name, Class& superclass, const std::type_info& type) {
  static auto& classes = *new std::map<std::pair<std::string, const Class*>, Class*>;
  const std::string text = name.toStdString();
  Class*& cls = classes[{text, &superclass}];
  if (!cls) cls = &Class::derive(text, superclass, type);
  return *cls;
}

}  // namespace platform
