#pragma once

#include <QVariantMap>

#include "platform/foundation/Value.h"

// Qt's values as the platform's. Any thread.
namespace kovaqt {

platform::Dictionary dictionaryOf(const QVariantMap& map);

}  // namespace kovaqt
