#pragma once

#include <string>
#include <string_view>

#include "platform/foundation/Value.h"

namespace platform {

// Keys of an error's user info, and the domains of the platform's own errors.
inline constexpr std::string_view NSLocalizedDescriptionKey = "NSLocalizedDescription";
inline constexpr std::string_view NSURLErrorFailingURLStringErrorKey = "NSErrorFailingURLStringKey";
inline constexpr std::string_view NSURLErrorDomain = "NSURLErrorDomain";
inline constexpr std::string_view NSPOSIXErrorDomain = "NSPOSIXErrorDomain";

// Why an operation failed, as a value: a domain, a code within the domain, and details.
class NSError {
 public:
  NSError(std::string domain, int code, Dictionary userInfo = {})
      : domain_(std::move(domain)), code_(code), userInfo_(std::move(userInfo)) {}

  const std::string& domain() const { return domain_; }
  int code() const { return code_; }
  const Dictionary& userInfo() const { return userInfo_; }

  // The text under NSLocalizedDescription, else one made of domain and code.
  std::string localizedDescription() const;
  // 'Error Domain=… Code=… "…"'
  std::string description() const;

 private:
  std::string domain_;
  int code_;
  Dictionary userInfo_;
};

}  // namespace platform
