#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/foundation/NSURL.h"
#include "platform/foundation/Value.h"

// Reads the library's deep links: "kova-<environment id>://<schema version>/<instruction>?parameters".
// Immutable; any thread.
class KovaOpenURLParser {
 public:
  explicit KovaOpenURLParser(std::string_view appId);

  const std::string& appId() const { return appId_; }
  const std::string& expectedURLScheme() const { return expectedURLScheme_; }

  struct Link {
    std::uint64_t schemaVersion;
    std::string instruction;  // in lower case
  };
  // None for anything but a well-formed link of this environment. The parameters are read when they are asked
  // for.
  std::optional<Link> parseUrl(const platform::NSURL& url, platform::Dictionary* parameters = nullptr) const;

  bool hasCorrectAppId(const platform::NSURL& url) const;
  static std::optional<std::uint64_t> extractSchemaVersion(const platform::NSURL& url);
  static std::optional<std::string> extractInstructions(const platform::NSURL& url);
  static platform::Dictionary extractParameters(const platform::NSURL& url);

  // Tells a developer, in the debug log, whether the app declares the URL scheme.
  void validateCustomURLScheme() const;

 private:
  const std::string appId_;
  const std::string expectedURLScheme_;
};
