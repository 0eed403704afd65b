#include "platform/net/NSURLError.h"

#include <utility>

namespace platform {
namespace {

std::string descriptionOf(int code, const NSURL& url) {
  switch (code) {
    case NSURLErrorCancelled:
      return "cancelled";
    case NSURLErrorBadURL:
      return "bad URL";
    case NSURLErrorTimedOut:
      return "The request timed out.";
    case NSURLErrorUnsupportedURL:
      return "unsupported URL";
    case NSURLErrorCannotFindHost:
      return "A server with the specified hostname could not be found.";
    case NSURLErrorCannotConnectToHost:
      return "Could not connect to the server.";
    case NSURLErrorNetworkConnectionLost:
      return "The network connection was lost.";
    case NSURLErrorHTTPTooManyRedirects:
      return "too many HTTP redirects";
    case NSURLErrorNotConnectedToInternet:
      return "The Internet connection appears to be offline.";
    case NSURLErrorBadServerResponse:
      return "There was a bad response from the server.";
    case NSURLErrorCannotDecodeContentData:
      return "cannot decode content data";
    case NSURLErrorDataLengthExceedsMaximum:
      return "resource exceeds maximum size";
    case NSURLErrorSecureConnectionFailed:
      return "An SSL error has occurred and a secure connection to the server cannot be made.";
    case NSURLErrorServerCertificateUntrusted:
      return "The certificate for this server is invalid. You might be connecting to a server that is pretending to be “" +
             url.host().value_or("") + "” which could put your confidential information at risk.";
    default:
      return "unknown error";
  }
}

}  // namespace

NSError makeURLError(int code, const NSURL& failingURL, std::string_view detail) {
  MutableDictionary userInfo;
  userInfo.append(NSLocalizedDescriptionKey, descriptionOf(code, failingURL));
  userInfo.append(NSURLErrorFailingURLStringErrorKey, failingURL.absoluteString());
  if (!detail.empty()) userInfo.append(NSDebugDescriptionErrorKey, detail);
  return NSError(std::string(NSURLErrorDomain), code, Dictionary(std::move(userInfo)));
}

}  // namespace platform
