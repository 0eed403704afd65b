#include "platform/sockets/internal/WebSocketConnector.h"

#include <fcntl.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>

#include <boost/asio/ip/address.hpp>
#include <cstdint>
#include <utility>

#include "platform/net/NSURLError.h"
#include "platform/net/NetworkReachability.h"
#include "platform/sockets/internal/WebSocketUpgrade.h"

namespace platform {
namespace {

namespace asio = boost::asio;
using asio::ip::tcp;
using boost::system::error_code;

// Asio unloads OpenSSL's modules when the last of these goes, which is at exit, under the transfer thread. So
// one stays.
[[gnu::used]] const auto* const keepsModules = new asio::ssl::detail::openssl_init<>;

// Trusts the system's certificates, or those of the file.
asio::ssl::context makeTLSContext(const std::string& certificateAuthorityFile) {
  asio::ssl::context context(asio::ssl::context::tls_client);
  context.set_verify_mode(asio::ssl::verify_peer);
  SSL_CTX_set_min_proto_version(context.native_handle(), TLS1_2_VERSION);
  if (certificateAuthorityFile.empty()) {
    context.set_default_verify_paths();
  } else {
    context.load_verify_file(certificateAuthorityFile);
  }
  return context;
}

// The certificate has to name the host. A host with a name, not an address, is also told that name (SNI).
void expectHost(SSL* tls, const std::string& host) {
  X509_VERIFY_PARAM* const expected = SSL_get0_param(tls);
  if (X509_VERIFY_PARAM_set1_ip_asc(expected, host.c_str()) == 1) return;
  X509_VERIFY_PARAM_set_hostflags(expected, X509_CHECK_FLAG_NO_PARTIAL_WILDCARDS);
  X509_VERIFY_PARAM_set1_host(expected, host.c_str(), host.size());
  SSL_set_tlsext_host_name(tls, host.c_str());
}

int codeOfConnectError(error_code error) {
  return error == asio::error::network_unreachable ? NSURLErrorNotConnectedToInternet
                                                   : NSURLErrorCannotConnectToHost;
}

}  // namespace

WebSocketConnector::WebSocketConnector(const NSURL& url, std::string certificateAuthorityFile,
                                       WebSocketTransport& transport)
    : url_(url), certificateAuthorityFile_(std::move(certificateAuthorityFile)), transport_(transport) {}

void WebSocketConnector::cancel() {
  isCancelled_ = true;
  resolver_.cancel();
}

void WebSocketConnector::connect(Completion completion) {
  const int port = webSocketPort(url_);
  error_code isName;
  const asio::ip::address address = asio::ip::make_address(*url_.host(), isName);
  if (isName) return resolve(std::move(completion));
  connect({tcp::endpoint(address, static_cast<std::uint16_t>(port))}, 0, std::move(completion));
}

// The look-up blocks a thread of its own, and goes on there after a cancel().
void WebSocketConnector::resolve(Completion completion) {
  resolver_.async_resolve(
      *url_.host(), std::to_string(webSocketPort(url_)), tcp::resolver::numeric_service,
      [this, completion = std::move(completion)](error_code error,
                                                 const tcp::resolver::results_type& results) mutable {
        if (isCancelled_) return;
        if (error) {
          const bool isOffline = NetworkReachability::isOffline();
          return completion(isOffline ? NSURLErrorNotConnectedToInternet : NSURLErrorCannotFindHost,
                            error.message());
        }
        connect(std::vector<Endpoint>(results.begin(), results.end()), 0, std::move(completion));
      });
}

void WebSocketConnector::connect(std::vector<Endpoint> endpoints, std::size_t at, Completion completion) {
  const tcp::endpoint endpoint = endpoints[at];
  auto& socket = transport_.next_layer();
  error_code ignored;
  socket.close(ignored);
  socket.open(endpoint.protocol(), ignored);
  // A program that the host starts does not inherit it.
  fcntl(socket.native_handle(), F_SETFD, FD_CLOEXEC);
  socket.async_connect(endpoint, [this, endpoints = std::move(endpoints), at,
                                  completion = std::move(completion)](error_code error) mutable {
    if (isCancelled_) return;
    if (error && at + 1 < endpoints.size()) {
      return connect(std::move(endpoints), at + 1, std::move(completion));
    }
    if (error) return completion(codeOfConnectError(error), error.message());
    transport_.next_layer().set_option(tcp::no_delay(true), error);
    isSecureWebSocket(url_) ? secure(std::move(completion)) : completion(0, {});
  });
}

void WebSocketConnector::secure(Completion completion) {
  SSL* tls = nullptr;
  try {
    asio::ssl::context context = makeTLSContext(certificateAuthorityFile_);
    tls = transport_.useTLS(context).native_handle();
  } catch (const boost::system::system_error& error) {
    return completion(NSURLErrorSecureConnectionFailed, error.what());
  }
  expectHost(tls, *url_.host());
  transport_.tls().async_handshake(
      asio::ssl::stream_base::client, [this, tls, completion = std::move(completion)](error_code error) {
        if (isCancelled_) return;
        if (!error) return completion(0, {});
        const long verdict = SSL_get_verify_result(tls);
        if (verdict == X509_V_OK) return completion(NSURLErrorSecureConnectionFailed, error.message());
        completion(NSURLErrorServerCertificateUntrusted, X509_verify_cert_error_string(verdict));
      });
}

}  // namespace platform
