#pragma once

#include <QString>
#include <typeinfo>

#include "platform/runtime/Class.h"

struct QMetaObject;

namespace platform {

// The class that objects of `type`, a subclass of what `base` is the record of, show for one of Qt's: named
// as that, below those of its superclasses, and the uppermost below `base`. Always the same for the same
// arguments. Main thread only.
Class& classOf(const QMetaObject& metaObject, Class& base, const std::type_info& type);
// The same under a name of its own.
Class& classNamed(const QString& name, Class& superclass, const std::type_info& type);

}  // namespace platform
