#include "src/events/KIEvent.h"

#include "src/core/KovaUtil.h"

KIEvent::KIEvent(std::string kind, int appVisibilityState)
    : moment_(KIMoment::now()),
      eventId_(KovaUtil::randomId()),
      appVisibilityState_(appVisibilityState),
      kind_(std::move(kind)) {}
