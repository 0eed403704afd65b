#include "platform/net/NSURLRequest.h"

#include <strings.h>

#include <algorithm>

namespace platform {
namespace {

bool isSameFieldName(std::string_view a, std::string_view b) {
  return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

// libcurl composes a request's head in a buffer of this size.
constexpr std::size_t kLongestHead = std::size_t{1} << 20;
// What libcurl adds to the URL: method, version, and headers of its own, the host in one of them not counted
// twice.
constexpr std::size_t kLargestAddition = kLongestHead - NSURLRequest::kLongestURL;

}  // namespace

const std::string* findHTTPHeaderField(const std::vector<HTTPHeaderField>& fields, std::string_view name) {
  const auto found = std::find_if(fields.begin(), fields.end(), [&](const HTTPHeaderField& field) {
    return isSameFieldName(field.first, name);
  });
  return found == fields.end() ? nullptr : &found->second;
}

bool isHTTPToken(std::string_view text) {
  constexpr std::string_view kMarks = "!#$%&'*+-.^_`|~";
  return !text.empty() && std::all_of(text.begin(), text.end(), [&](char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
           kMarks.find(c) != std::string_view::npos;
  });
}

bool isSendableHTTPHeaderField(const HTTPHeaderField& field) {
  return isHTTPToken(field.first) &&
         field.second.find_first_of(std::string_view("\r\n\0", 3)) == std::string::npos;
}

const std::string* NSURLRequest::valueForHTTPHeaderField(std::string_view name) const {
  return findHTTPHeaderField(headers_, name);
}

bool NSURLRequest::isTooLong() const {
  constexpr std::size_t kPunctuation = 4;  // ": " and the end of the line
  std::size_t head = url_.absoluteString().size() + kLargestAddition;
  for (const auto& [name, value] : headers_) head += name.size() + value.size() + kPunctuation;
  return head > kLongestHead;
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
