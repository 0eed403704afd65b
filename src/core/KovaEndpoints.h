#pragma once

#include <Kova/KovaOptions.h>

#include <optional>

#include "platform/foundation/NSURL.h"

namespace kova {

// Where events and telemetry go when the host names no capture base URL.
const platform::NSURL& defaultCaptureEndpoint();
// Where the Event Visualizer pairs when the host names no base URL for it.
const platform::NSURL& defaultEventVisualizerEndpoint();

// What the base URLs of the host's stand for: the default endpoint when there is none, and nothing when what
// the host gave cannot be used. What was meant for a service of the host's own goes to no other. The capture
// service is one of http or https.
std::optional<platform::NSURL> captureEndpoint(const KovaBaseURL& given);
std::optional<platform::NSURL> eventVisualizerEndpoint(const KovaBaseURL& given);

// Says which of the two cannot be used, and, to who debugs, which has been set to nil.
void logBaseURLs(const KovaOptions& options);

}  // namespace kova
