#include "src/events/KIEvent.h"

#include "src/core/Ids.h"

KIEvent::KIEvent(std::string kind, int appVisibilityState)
    : moment_(KIMoment::now()),
      eventId_(kova::randomId()),
      appVisibilityState_(appVisibilityState),
      kind_(std::move(kind)) {}
