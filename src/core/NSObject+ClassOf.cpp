#include "src/core/NSObject+ClassOf.h"

#include <set>
#include <typeindex>

#include "platform/runtime/TypeName.h"

using namespace platform;

namespace {

struct Told {
  Mutex mutex;
  std::set<std::type_index> types PLATFORM_GUARDED_BY(mutex);

  bool isFirst(std::type_index type) {
    const MutexLock lock(mutex);
    return types.insert(type).second;
  }
};

}  // namespace

void KOVA_tellMissingDeclaration(const NSObject& object) {
  const std::type_info& type = typeid(object);
  if (type == object.isa().type()) return;
  static Told& told = *new Told;
  if (!told.isFirst(type)) return;
  KovaLogDebug("%@ is captured as %@, because it has no NS_OBJECT of its own", typeName(type),
               object.isa().name());
}
