#include "platform/foundation/NSURL.h"

#include <algorithm>
#include <charconv>

#include "platform/foundation/PercentEncoding.h"

namespace platform {
namespace {

constexpr std::string_view kUnreservedMarks = "-._~";
constexpr std::string_view kSubDelimiters = "!$&'()*+,;=";
constexpr int kLargestPort = 65535;

// What may stand in a path segment; a path has "/" besides, a query and a fragment "/" and "?".
bool isPathCharacter(char c) {
  return isASCIIAlphanumeric(c) || c == ':' || c == '@' ||
         kUnreservedMarks.find(c) != std::string_view::npos ||
         kSubDelimiters.find(c) != std::string_view::npos;
}

// Existing escapes stay.
std::string encode(std::string_view text, std::string_view alsoAllowed) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (isPathCharacter(c) || alsoAllowed.find(c) != std::string_view::npos || percentEscapeAt(text, i)) {
      out += c;
    } else {
      appendPercentEscape(out, c);
    }
  }
  return out;
}

// Plain text, in which a "%" is a character like any other.
std::string encodePlainPath(std::string_view path) {
  std::string out;
  out.reserve(path.size());
  for (const char c : path) {
    if (isPathCharacter(c) || c == '/') {
      out += c;
    } else {
      appendPercentEscape(out, c);
    }
  }
  return out;
}

std::string decode(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    const std::optional<char> byte = percentEscapeAt(text, i);
    out += byte.value_or(text[i]);
    if (byte) i += 2;
  }
  return out;
}

// The text before the first of `delimiters`, which is taken off `text` together with it.
std::string_view takeUntil(std::string_view& text, std::string_view delimiters) {
  const std::string_view head = text.substr(0, text.find_first_of(delimiters));
  text.remove_prefix(head.size());
  return head;
}

bool isScheme(std::string_view text) {
  if (text.empty() || !isASCIILetter(text[0])) return false;
  return std::all_of(text.begin(), text.end(),
                     [](char c) { return isASCIIAlphanumeric(c) || c == '+' || c == '-' || c == '.'; });
}

bool isWebScheme(const std::optional<std::string>& scheme) { return scheme == "http" || scheme == "https"; }

// RFC 3986, 5.2.4: a path that begins with "/", without its "." and "..".
std::string withoutDotSegments(std::string_view path) {
  std::string out;
  while (!path.empty()) {
    const std::string_view segment = path.substr(0, path.find('/', 1));
    path.remove_prefix(segment.size());
    if (segment == "/." || segment == "/..") {
      if (segment == "/..") out.erase(std::min(out.rfind('/'), out.size()));
      if (path.empty()) out += '/';
    } else {
      out += segment;
    }
  }
  return out;
}

// RFC 3986, 5.2.3: everything of the base up to its last "/", and the reference.
std::string merged(std::string_view basePath, std::string_view path) {
  const std::size_t slash = basePath.rfind('/');
  const std::string_view folder = slash == std::string_view::npos ? "/" : basePath.substr(0, slash + 1);
  return std::string(folder).append(path);
}

}  // namespace

// userinfo "@" host ":" port, the first and the last of them optional.
bool NSURL::Parts::readAuthority(std::string_view raw) {
  authority = encode(raw, "[]");
  for (const char c : raw) {
    if (isASCII(c) && !isPathCharacter(c) && c != '[' && c != ']' && c != '%') return false;
  }
  std::string_view rest = *authority;
  if (const std::size_t at = rest.rfind('@'); at != std::string_view::npos) rest.remove_prefix(at + 1);

  if (rest.starts_with('[')) {
    const std::size_t close = rest.find(']');
    if (close == std::string_view::npos) return false;
    host = decode(rest.substr(1, close - 1));
    rest.remove_prefix(close + 1);
    if (!rest.empty() && rest[0] != ':') return false;
  } else {
    host = decode(takeUntil(rest, ":"));
    if (host->find_first_of("[]") != std::string::npos) return false;
  }

  if (rest.size() < 2) return true;
  rest.remove_prefix(1);
  int number = 0;
  const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), number);
  if (error != std::errc() || end != rest.data() + rest.size() || number < 0 || number > kLargestPort)
    return false;
  port = number;
  return true;
}

void NSURL::Parts::compose() {
  text.clear();
  if (scheme) text += *scheme + ":";
  if (authority) text += "//" + *authority;
  text += path;
  if (query) text += "?" + *query;
  if (fragment) text += "#" + *fragment;
}

std::optional<NSURL::Parts> NSURL::parse(std::string_view text) {
  if (text.empty()) return std::nullopt;
  Parts parts;
  std::string_view schemeText;
  if (const std::size_t colon = text.find_first_of(":/?#");
      colon != std::string_view::npos && text[colon] == ':') {
    schemeText = text.substr(0, colon);
    if (!isScheme(schemeText)) return std::nullopt;
    parts.scheme.emplace(schemeText);
    text.remove_prefix(colon + 1);
  }
  if (text.starts_with("//")) {
    text.remove_prefix(2);
    if (!parts.readAuthority(takeUntil(text, "/?#"))) return std::nullopt;
  }
  parts.path = encode(takeUntil(text, "?#"), "/");
  if (text.starts_with('?')) {
    text.remove_prefix(1);
    parts.query = encode(takeUntil(text, "#"), "/?");
  }
  if (text.starts_with('#')) parts.fragment = encode(text.substr(1), "/?");

  // The text keeps the scheme as it was given.
  parts.compose();
  if (parts.scheme) std::ranges::transform(*parts.scheme, parts.scheme->begin(), lowercaseASCII);
  if (isWebScheme(parts.scheme) && parts.host.value_or("").empty()) return std::nullopt;
  return parts;
}

std::optional<NSURL> NSURL::create(std::string_view text) {
  std::optional<Parts> parts = parse(text);
  if (!parts) return std::nullopt;
  return NSURL(std::move(*parts));
}

std::optional<NSURL> NSURL::create(std::string_view text, const NSURL& base) {
  Parts parts = *base.parts_;
  parts.fragment.reset();
  if (!text.empty()) {
    std::optional<Parts> reference = parse(text);
    if (!reference) return std::nullopt;
    if (reference->scheme) return NSURL(std::move(*reference));
    parts.resolve(std::move(*reference));
    if (isWebScheme(parts.scheme) && parts.host.value_or("").empty()) return std::nullopt;
  }
  parts.compose();
  return NSURL(std::move(parts));
}

// RFC 3986, 5.2.2. These are the parts of the base, without its fragment.
void NSURL::Parts::resolve(Parts reference) {
  fragment = std::move(reference.fragment);
  if (reference.authority) {
    authority = std::move(reference.authority);
    host = std::move(reference.host);
    port = reference.port;
    path = withoutDotSegments(reference.path);
    query = std::move(reference.query);
  } else if (!reference.path.empty()) {
    path =
        withoutDotSegments(reference.path.starts_with('/') ? reference.path : merged(path, reference.path));
    query = std::move(reference.query);
  } else if (reference.query) {
    query = std::move(reference.query);
  }
}

NSURL NSURL::fileURL(std::string_view path) {
  Parts parts;
  parts.scheme = "file";
  parts.authority = "";
  parts.host = "";
  parts.path = encodePlainPath(path);
  parts.compose();
  return NSURL(std::move(parts));
}

std::string NSURL::path() const {
  std::string_view text = parts_->path;
  if (text.size() > 1 && text.ends_with('/')) text.remove_suffix(1);
  return decode(text);
}

std::vector<std::string> NSURL::pathComponents() const {
  std::vector<std::string> components;
  std::string_view rest = parts_->path;
  if (rest.starts_with('/')) components.emplace_back("/");
  while (!rest.empty()) {
    const std::string_view component = takeUntil(rest, "/");
    if (!component.empty()) components.push_back(decode(component));
    if (!rest.empty()) rest.remove_prefix(1);
  }
  return components;
}

std::vector<NSURLQueryItem> NSURL::queryItems() const {
  std::vector<NSURLQueryItem> items;
  if (!parts_->query || parts_->query->empty()) return items;
  std::string_view rest = *parts_->query;
  while (true) {
    std::string_view item = takeUntil(rest, "&");
    NSURLQueryItem& added = items.emplace_back();
    added.name = decode(takeUntil(item, "="));
    if (!item.empty()) added.value = decode(item.substr(1));
    if (rest.empty()) return items;
    rest.remove_prefix(1);
  }
}

NSURL NSURL::appendingPathComponent(std::string_view name, bool isDirectory) const {
  Parts parts = *parts_;
  if (!parts.path.ends_with('/') && (!parts.path.empty() || parts.authority)) parts.path += '/';
  while (name.starts_with('/')) name.remove_prefix(1);
  parts.path += encodePlainPath(name);
  if (isDirectory && !parts.path.ends_with('/')) parts.path += '/';
  parts.compose();
  return NSURL(std::move(parts));
}

}  // namespace platform
