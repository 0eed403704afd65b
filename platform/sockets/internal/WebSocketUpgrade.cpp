#include "platform/sockets/internal/WebSocketUpgrade.h"

#include <strings.h>

#include <algorithm>
#include <string_view>

namespace platform {
namespace {

constexpr int kPlainPort = 80;
constexpr int kSecurePort = 443;

bool isReservedField(const std::string& name) {
  constexpr const char* kReserved[] = {"Connection",
                                       "Content-Length",
                                       "Sec-WebSocket-Extensions",
                                       "Sec-WebSocket-Key",
                                       "Sec-WebSocket-Version",
                                       "Transfer-Encoding",
                                       "Upgrade"};
  return std::any_of(std::begin(kReserved), std::end(kReserved),
                     [&](const char* reserved) { return strcasecmp(name.c_str(), reserved) == 0; });
}

int schemePort(const NSURL& url) { return isSecureWebSocket(url) ? kSecurePort : kPlainPort; }

}  // namespace

bool isSecureWebSocket(const NSURL& url) { return url.scheme() == "wss"; }

int webSocketPort(const NSURL& url) { return url.port().value_or(schemePort(url)); }

bool hasWebSocketHost(const NSURL& url) {
  constexpr std::string_view kDelimiters = "/\\?#@[]";
  const std::string host = url.host().value_or("");
  return !host.empty() && std::all_of(host.begin(), host.end(), [&](char c) {
    return c > ' ' && c < 0x7f && kDelimiters.find(c) == std::string_view::npos;
  });
}

std::string webSocketHostField(const NSURL& url) {
  const bool isIPv6 = url.host()->find(':') != std::string::npos;
  const std::string host = isIPv6 ? "[" + *url.host() + "]" : *url.host();
  return webSocketPort(url) == schemePort(url) ? host : host + ":" + std::to_string(webSocketPort(url));
}

std::string webSocketTarget(const NSURL& url) {
  std::string_view text = url.absoluteString();
  text.remove_prefix(text.find("//") + 2);
  text = text.substr(0, text.find('#'));
  text.remove_prefix(std::min(text.find_first_of("/?"), text.size()));
  return text.starts_with('/') ? std::string(text) : "/" + std::string(text);
}

std::vector<HTTPHeaderField> webSocketFields(const NSURLRequest& request) {
  std::vector<HTTPHeaderField> fields;
  for (const HTTPHeaderField& field : request.allHTTPHeaderFields()) {
    if (isSendableHTTPHeaderField(field) && !isReservedField(field.first)) fields.push_back(field);
  }
  return fields;
}

}  // namespace platform
