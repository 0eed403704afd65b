#pragma once

#include <string>
#include <string_view>

#include "platform/foundation/NSError.h"
#include "platform/foundation/NSURL.h"

namespace platform {

// Codes of NSURLErrorDomain.
inline constexpr int NSURLErrorUnknown = -1;
inline constexpr int NSURLErrorCancelled = -999;
inline constexpr int NSURLErrorBadURL = -1000;
inline constexpr int NSURLErrorTimedOut = -1001;
inline constexpr int NSURLErrorUnsupportedURL = -1002;
inline constexpr int NSURLErrorCannotFindHost = -1003;
inline constexpr int NSURLErrorCannotConnectToHost = -1004;
inline constexpr int NSURLErrorNetworkConnectionLost = -1005;
inline constexpr int NSURLErrorHTTPTooManyRedirects = -1007;
inline constexpr int NSURLErrorNotConnectedToInternet = -1009;
inline constexpr int NSURLErrorBadServerResponse = -1011;
inline constexpr int NSURLErrorCannotDecodeContentData = -1016;
inline constexpr int NSURLErrorDataLengthExceedsMaximum = -1103;
inline constexpr int NSURLErrorSecureConnectionFailed = -1200;
inline constexpr int NSURLErrorServerCertificateUntrusted = -1202;

// What the transport itself said, for a reader of logs.
inline constexpr std::string_view NSDebugDescriptionErrorKey = "NSDebugDescription";

// An error of NSURLErrorDomain with the platform's description of the code and the failing URL. An empty
// detail is left out.
NSError makeURLError(int code, const NSURL& failingURL, std::string_view detail = {});

}  // namespace platform
