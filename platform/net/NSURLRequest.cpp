#include "platform/net/NSURLRequest.h"

#include <strings.h>

#include <algorithm>

namespace platform {
namespace {

bool isSameFieldName(std::string_view a, std::string_view b) {
  return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

}  // namespace

const std::string* findHTTPHeaderField(const std::vector<HTTPHeaderField>& fields, std::string_view name) {
  const auto found = std::find_if(fields.begin(), fields.end(), [&](const HTTPHeaderField& field) {
    return isSameFieldName(field.first, name);
  });
  return found == fields.end() ? nullptr : &found->second;
}

const std::string* NSURLRequest::valueForHTTPHeaderField(std::string_view name) const {
  return findHTTPHeaderField(headers_, name);
}

void NSURLRequest::setValue(std::string value, std::string_view forHTTPHeaderField) {
  for (auto& [name, present] : headers_) {
    if (!isSameFieldName(name, forHTTPHeaderField)) continue;
    present = std::move(value);
    return;
  }
  headers_.emplace_back(forHTTPHeaderField, std::move(value));
}

}  // namespace platform
