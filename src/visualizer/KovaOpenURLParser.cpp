#include "src/visualizer/KovaOpenURLParser.h"

#include <algorithm>
#include <charconv>
#include <limits>

#include "platform/foundation/NSBundle.h"
#include "platform/foundation/NSException.h"
#include "src/core/KovaLogger.h"

using namespace platform;

namespace {

constexpr const char* kSchemeDocumentation =
    "https://developer.apple.com/documentation/xcode/defining-a-custom-url-scheme-for-your-app";

std::string lowercased(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return lower;
}

bool declaresScheme(const Value& urlType, std::string_view scheme) {
  if (!urlType.isDictionary()) return false;
  const Value* schemes = urlType.dictionary().find("CFBundleURLSchemes");
  if (!schemes || !schemes->isArray()) return false;
  return std::any_of(schemes->array().begin(), schemes->array().end(),
                     [scheme](const Value& each) { return each.isString() && each.text() == scheme; });
}

}  // namespace

KovaOpenURLParser::KovaOpenURLParser(std::string_view appId)
    : appId_(appId), expectedURLScheme_(formatted("kova-%@", appId)) {}

std::optional<KovaOpenURLParser::Link> KovaOpenURLParser::parseUrl(const NSURL& url,
                                                                   Dictionary* parameters) const {
  if (!hasCorrectAppId(url)) return std::nullopt;
  const auto schemaVersion = extractSchemaVersion(url);
  if (!schemaVersion) return std::nullopt;
  auto instruction = extractInstructions(url);
  if (!instruction) return std::nullopt;
  if (parameters) *parameters = extractParameters(url);
  return Link{*schemaVersion, std::move(*instruction)};
}

bool KovaOpenURLParser::hasCorrectAppId(const NSURL& url) const {
  return url.scheme() && lowercased(*url.scheme()) == lowercased(expectedURLScheme_);
}

std::optional<std::uint64_t> KovaOpenURLParser::extractSchemaVersion(const NSURL& url) {
  if (!url.host()) return std::nullopt;
  const std::string& host = *url.host();
  if (host.find_first_not_of("0123456789") != std::string::npos) return std::nullopt;
  std::int64_t version = 0;
  const auto [end, error] = std::from_chars(host.data(), host.data() + host.size(), version);
  if (error == std::errc::result_out_of_range) version = std::numeric_limits<std::int64_t>::max();
  if (version <= 0) return std::nullopt;
  return static_cast<std::uint64_t>(version);
}

std::optional<std::string> KovaOpenURLParser::extractInstructions(const NSURL& url) {
  const auto components = url.pathComponents();
  if (components.size() != 2) return std::nullopt;
  return lowercased(components.back());
}

Dictionary KovaOpenURLParser::extractParameters(const NSURL& url) {
  MutableDictionary parameters;
  try {
    for (const NSURLQueryItem& item : url.queryItems()) {
      parameters.set(item.name, item.value ? std::optional<Value>(*item.value) : std::nullopt);
    }
  } catch (const std::exception&) {
    KovaLog("Ignoring parameters for URL: %@", url.absoluteString());
    return {};
  }
  return Dictionary(std::move(parameters));
}

void KovaOpenURLParser::validateCustomURLScheme() const {
  if (!KovaLoggingEnabled(kKovaLogLevelDebug)) return;
  const Value* types = NSBundle::mainBundle().objectForInfoDictionaryKey("CFBundleURLTypes");
  const Array urlTypes = types && types->isArray() ? types->array() : Array();
  const bool isDeclared = std::any_of(urlTypes.begin(), urlTypes.end(), [this](const Value& urlType) {
    return declaresScheme(urlType, expectedURLScheme_);
  });
  if (isDeclared) {
    KovaLogDebug("The URL scheme – %@:// – for the Event Visualizer's QR code trigger is set up correctly.",
                 expectedURLScheme_);
    return;
  }
  KovaLogDebug(
      "The expected custom URL scheme – %@:// – was not found; the QR code trigger for the Kova Event Visualizer won't work unless this scheme is present. (%@)",
      expectedURLScheme_, kSchemeDocumentation);
}
