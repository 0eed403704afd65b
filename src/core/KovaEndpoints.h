#pragma once

#include <optional>

#include "platform/foundation/NSURL.h"

namespace kova {

// Where events and telemetry go when the host names no capture base URL.
const platform::NSURL& defaultCaptureEndpoint();
// Where the Event Visualizer pairs when the host names no base URL for it.
const platform::NSURL& defaultEventVisualizerEndpoint();

// What a capture base URL of the host's stands for: the default endpoint when there is none, and nothing,
// with a line of log, when it is no absolute http or https URL. What was meant for a service of the host's
// own goes to no other.
std::optional<platform::NSURL> captureEndpoint(const std::optional<platform::NSURL>& captureBaseUrl);

}  // namespace kova
