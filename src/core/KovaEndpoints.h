#pragma once

#include <Kova/KovaOptions.h>

#include <optional>

#include "platform/foundation/NSURL.h"

namespace kova {

// Where the Event Visualizer pairs when the host names no base URL for it.
const platform::NSURL& defaultEventVisualizerEndpoint();
// As `captureEndpoint` for the Event Visualizer's base URL.
std::optional<platform::NSURL> eventVisualizerEndpoint(const KovaBaseURL& given);

// Logs which of the two cannot be used and, in the debug log, which has been set to nil.
void logBaseURLs(const KovaOptions& options);

}  // namespace kova
