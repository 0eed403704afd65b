#pragma once

#include "platform/foundation/NSURL.h"

namespace kova {

// Where events and telemetry go when the host names no capture base URL.
const platform::NSURL& defaultCaptureEndpoint();

}  // namespace kova
