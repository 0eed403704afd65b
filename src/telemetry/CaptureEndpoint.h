#pragma once

#include <Kova/KovaBaseURL.h>

#include <optional>
#include <string>

#include "platform/foundation/NSURL.h"
#include "platform/net/NSURLRequest.h"

namespace kova {

// Where events and telemetry go when the host names no capture base URL.
const platform::NSURL& defaultCaptureEndpoint();

// What the host's base URL stands for: the default endpoint when there is none, and nothing when what the
// host gave is no http or https URL. What was meant for a service of the host's own goes to no other.
std::optional<platform::NSURL> captureEndpoint(const KovaBaseURL& given);

// The request as a POST of JSON text.
platform::NSURLRequest postingJSON(platform::NSURLRequest request, std::string body);

}  // namespace kova
