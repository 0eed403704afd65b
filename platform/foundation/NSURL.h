#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

// One "name=value" of a query, both percent-decoded. "name" without "=" has no value, "name=" an empty one.
struct NSURLQueryItem {
  std::string name;
  std::optional<std::string> value;
};

// A URL, absolute or relative, as an immutable value of one pointer's size; copies share one record. May be
// read from any thread.
//
// Lenient about text, as the platform is: what may not stand in a path, a query or a fragment (blanks,
// control characters, quotes, anything beyond ASCII, a "%" that begins no escape) is percent-encoded, and
// existing escapes are kept. Refused are: an empty text, a malformed scheme, host or port, and http or https
// without a host.
class NSURL {
 public:
  static std::optional<NSURL> create(std::string_view text);
  // `text` resolved against `base` by the rules of RFC 3986: "h?a=1" on "https://host" is
  // "https://host/h?a=1".
  static std::optional<NSURL> create(std::string_view text, const NSURL& base);
  // The URL of an absolute path of the file system. A trailing "/" is kept and says "directory".
  static NSURL fileURL(std::string_view path);

  const std::string& absoluteString() const { return parts_->text; }
  const std::optional<std::string>& scheme() const { return parts_->scheme; }
  // Without the brackets of an IPv6 address, percent-decoded. Empty text for "scheme:///path", none for
  // "scheme:path".
  const std::optional<std::string>& host() const { return parts_->host; }
  std::optional<int> port() const { return parts_->port; }
  // Percent-decoded, without a trailing "/" unless it is the root.
  std::string path() const;
  // The root "/" first, then each component, percent-decoded. Empty for an empty path.
  std::vector<std::string> pathComponents() const;
  // As it stands in the text, without the "?".
  const std::optional<std::string>& query() const { return parts_->query; }
  const std::optional<std::string>& fragment() const { return parts_->fragment; }
  // In order, equal names included.
  std::vector<NSURLQueryItem> queryItems() const;

  bool isFileURL() const { return parts_->scheme == "file"; }
  // Query and fragment stay. `name` is plain text, not percent-encoded; its "/" separate components.
  NSURL appendingPathComponent(std::string_view name, bool isDirectory = false) const;

  friend bool operator==(const NSURL& a, const NSURL& b) {
    return a.parts_ == b.parts_ || a.absoluteString() == b.absoluteString();
  }

 private:
  struct Parts {
    std::string text;
    std::optional<std::string> scheme;  // in lower case
    std::optional<std::string> authority;
    std::optional<std::string> host;
    std::optional<int> port;
    std::string path;  // as it stands in the text
    std::optional<std::string> query;
    std::optional<std::string> fragment;

    bool readAuthority(std::string_view text);
    void resolve(Parts reference);
    void compose();
  };
  static std::optional<Parts> parse(std::string_view text);

  explicit NSURL(Parts parts) : parts_(std::make_shared<const Parts>(std::move(parts))) {}
  std::shared_ptr<const Parts> parts_;
};

}  // namespace platform
