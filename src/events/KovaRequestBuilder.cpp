#include "src/events/KovaRequestBuilder.h"

#include <Kova/KovaConstants.h>

#include "platform/foundation/Format.h"
#include "platform/net/NSURLRequest.h"
#include "src/core/KovaLogger.h"
#include "src/core/URLEncoding.h"
#include "src/events/KovaAppProperties.h"
#include "src/events/KovaURLString.h"
#include "src/identity/KIIdentityManager.h"
#include "src/identity/KISessionManager.h"

using namespace platform;

namespace {

std::optional<Value> valueIn(const Dictionary& dictionary, std::string_view key) {
  const Value* value = dictionary.find(key);
  return value ? std::optional(*value) : std::nullopt;
}

// The call that makes a URL too long to be sent is told so; nothing is cut. Base URL and send time are still
// to come, so that a URL just below the limit may turn out too long without a word here.
std::string sized(std::string url) {
  if (url.size() > NSURLRequest::kLongestURL) {
    KovaLogDebug("This makes a URL of %lu bytes, which is too long to be sent: %@", url.size(),
                 std::string_view(url).substr(0, url.find('?')));
  }
  return url;
}

}  // namespace

KovaRequestBuilder::KovaRequestBuilder(std::string_view appId, const KovaAppProperties& appProperties,
                                       const KISessionManager& sessionManager,
                                       const KIIdentityManager& identityManager)
    : appId_(appId),
      appProperties_(appProperties),
      sessionManager_(sessionManager),
      identityManager_(identityManager) {}

std::string KovaRequestBuilder::mutableUrlStringByAppendingBaseQueryStringToPath(
    std::string_view path) const {
  return formatted("%@?a=%@&s=%@&b=ios&tv=%@&lv=%@", path, appId_, sessionManager_.sessionId(),
                   appProperties_.trackerVersion(), appProperties_.libraryVersion());
}

std::string KovaRequestBuilder::pageviewUrlStringWithPageviewInfo(const Dictionary& pageviewInfo,
                                                                  Dictionary* pixelProperties) const {
  std::string url = mutableUrlStringByAppendingBaseQueryStringToPath("h");
  url += identityManager_.ampersandPrefixedUserInfoQueryParameters();
  url += appProperties_.ampersandPrefixedApplicationAndDeviceInfo();
  url += formatted("&z=%ld", sessionManager_.zParam());
  KOVA_appendParameter(url, "ts", valueIn(pageviewInfo, KovaPageviewPropertyTimestamp));
  KOVA_appendParameter(url, "v", valueIn(pageviewInfo, KovaPageviewPropertyId));
  KOVA_appendParameter(url, "h", valueIn(pageviewInfo, KovaPageviewPropertyViewController));
  KOVA_appendParameter(url, "t", valueIn(pageviewInfo, KovaPageviewPropertyTitle));
  KOVA_appendParameter(url, "d", valueIn(pageviewInfo, KovaPageviewPropertyAccessibilityIdentifier));
  KOVA_appendParameter(url, "y", valueIn(pageviewInfo, KovaPageviewPropertyAccessibilityLabel));
  if (pixelProperties) {
    *pixelProperties = KOVA_dictionaryExtractingQueryParameters(
        url, {"h", "t", "d", "y", "m", "p", "g", "o", "f", "ts", "vid", "aid"});
  }
  KOVA_addPairedProperties(url, sessionManager_.sessionPixelProperties(), "sp");
  KOVA_addPairedProperties(url, identityManager_.eventProperties(), "k");
  return sized(std::move(url));
}

std::string KovaRequestBuilder::identitySetUrlStringWithNewEncodedIdentity(
    std::string_view newEncodedIdentity) const {
  std::string url = mutableUrlStringByAppendingBaseQueryStringToPath("api/identify_v3");
  KOVA_appendParameterEncoded(url, "u", identityManager_.userId());
  KOVA_appendParameterEncoded(url, "i", newEncodedIdentity);
  KOVA_appendMostRecentPageviewIdOrRandomNumber(url, sessionManager_);
  return sized(std::move(url));
}

std::string KovaRequestBuilder::addUserPropertiesUrlStringWithSanitizedUserProperties(
    const Dictionary& sanitizedUserProperties) const {
  std::string url = mutableUrlStringByAppendingBaseQueryStringToPath("api/add_user_properties_v3");
  url += identityManager_.ampersandPrefixedUserInfoQueryParameters();
  KOVA_appendMostRecentPageviewIdOrRandomNumber(url, sessionManager_);
  for (const auto& [name, value] : sanitizedUserProperties) {
    url += formatted("&_%@=%@", kova::urlEncode(name), kova::urlEncode(value));
  }
  return sized(std::move(url));
}

NSURL KovaRequestBuilder::messageBatchUrlWithBaseUrl(const NSURL& baseUrl) {
  return NSURL::create("api/integrations/ios/track", baseUrl).value();
}
