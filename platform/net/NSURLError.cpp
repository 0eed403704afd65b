#include "platform/net/NSURLError.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace platform {
namespace {

constexpr std::pair<int, const char*> kDescriptions[] = {
    {NSURLErrorCancelled, "cancelled"},
    {NSURLErrorBadURL, "bad URL"},
    {NSURLErrorTimedOut, "The request timed out."},
    {NSURLErrorUnsupportedURL, "unsupported URL"},
    {NSURLErrorCannotFindHost, "A server with the specified hostname could not be found."},
    {NSURLErrorCannotConnectToHost, "Could not connect to the server."},
    {NSURLErrorNetworkConnectionLost, "The network connection was lost."},
    {NSURLErrorHTTPTooManyRedirects, "too many HTTP redirects"},
    {NSURLErrorNotConnectedToInternet, "The Internet connection appears to be offline."},
    {NSURLErrorBadServerResponse, "There was a bad response from the server."},
    {NSURLErrorCannotDecodeContentData, "cannot decode content data"},
    {NSURLErrorDataLengthExceedsMaximum, "resource exceeds maximum size"},
    {NSURLErrorSecureConnectionFailed,
     "An SSL error has occurred and a secure connection to the server cannot be made."},
};

std::string descriptionOf(int code, const NSURL& url) {
  if (code == NSURLErrorServerCertificateUntrusted) {
    return "The certificate for this server is invalid. You might be connecting to a server that is pretending to be “" +
           url.host().value_or("") + "” which could put your confidential information at risk.";
  }
  const auto described = std::ranges::find(kDescriptions, code, &std::pair<int, const char*>::first);
  return described == std::end(kDescriptions) ? "unknown error" : described->second;
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
