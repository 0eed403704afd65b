#pragma once

#include <string>
#include <vector>

#include "platform/net/NSURLRequest.h"

// The request that turns an HTTP connection into a WebSocket, as far as it follows from a URL and its header
// fields.

namespace platform {

// wss, that is, and not ws.
bool isSecureWebSocket(const NSURL& url);
// That of the scheme unless the URL has one.
int webSocketPort(const NSURL& url);
// Whether the URL has a host that can stand in a request's head as it is.
bool hasWebSocketHost(const NSURL& url);
// "host", or "host:port" when the port is not that of the scheme; an IPv6 address in brackets.
std::string webSocketHostField(const NSURL& url);
// Path and query as they stand in the text of the URL.
std::string webSocketTarget(const NSURL& url);
// The request's own fields, without those that belong to the handshake.
std::vector<HTTPHeaderField> webSocketFields(const NSURLRequest& request);

}  // namespace platform
