#pragma once

#include <string>
#include <string_view>

#include "platform/foundation/NSURL.h"
#include "platform/foundation/Value.h"
#include "src/core/Threads.h"

class KIIdentityManager;
class KISessionManager;
class KovaAppProperties;

// Composes pixel requests: GET URLs, relative to the capture base URL, whose query carries all the data of a
// pageview, an identity change or user properties. Also says where message batches go.
//
// Owned by the tracker, as are the three objects that it reads.
class KovaRequestBuilder {
 public:
  KovaRequestBuilder(std::string_view appId, const KovaAppProperties& appProperties,
                     const KISessionManager& sessionManager, const KIIdentityManager& identityManager);

  // "path?a=…&s=…&b=ios&tv=…&lv=…"
  std::string mutableUrlStringByAppendingBaseQueryStringToPath(std::string_view path) const
      KOVA_ON_MUTATION_QUEUE;

  // `pixelProperties`, when asked for, receives what a session remembers of its first pageview.
  std::string pageviewUrlStringWithPageviewInfo(const platform::Dictionary& pageviewInfo,
                                                platform::Dictionary* pixelProperties = nullptr) const
      KOVA_ON_MUTATION_QUEUE;
  std::string identitySetUrlStringWithNewEncodedIdentity(std::string_view newEncodedIdentity) const
      KOVA_ON_MUTATION_QUEUE;
  std::string addUserPropertiesUrlStringWithSanitizedUserProperties(
      const platform::Dictionary& sanitizedUserProperties) const KOVA_ON_MUTATION_QUEUE;

  static platform::NSURL messageBatchUrlWithBaseUrl(const platform::NSURL& baseUrl);

 private:
  const std::string appId_;
  const KovaAppProperties& appProperties_;
  const KISessionManager& sessionManager_;
  const KIIdentityManager& identityManager_;
};
