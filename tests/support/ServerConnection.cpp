#include "tests/support/ServerConnection.h"

#include <openssl/ssl.h>
#include <sys/socket.h>

#include <algorithm>
#include <boost/asio/buffer.hpp>
#include <boost/beast/http.hpp>

namespace http = boost::beast::http;

namespace {

constexpr std::size_t kReadSize = 256u << 10;
constexpr std::size_t kLargestHead = 1u << 20;

}  // namespace

const std::string* HttpRequest::header(std::string_view name) const {
  const auto found = std::find_if(headers.begin(), headers.end(), [&](const Field& field) {
    return boost::beast::iequals(field.first, name);
  });
  return found == headers.end() ? nullptr : &found->second;
}

std::size_t HttpRequest::countOfHeader(std::string_view name) const {
  return static_cast<std::size_t>(std::count_if(headers.begin(), headers.end(), [&](const Field& field) {
    return boost::beast::iequals(field.first, name);
  }));
}

ServerConnection::ServerConnection(int socket, SSL_CTX* context)
    : socket_(socket), tls_(context ? SSL_new(context) : nullptr) {
  if (tls_) SSL_set_fd(tls_, socket_);
}

ServerConnection::~ServerConnection() { SSL_free(tls_); }

bool ServerConnection::handshake() { return !tls_ || SSL_accept(tls_) == 1; }

std::optional<HttpRequest> ServerConnection::readRequest() {
  http::request_parser<http::string_body> parser;
  parser.header_limit(kLargestHead);
  parser.body_limit(boost::none);
  parser.eager(true);
  while (!parser.is_done()) {
    if (buffer_.empty() && !readMore(kReadSize)) return std::nullopt;
    boost::system::error_code error;
    buffer_.erase(0, parser.put(boost::asio::buffer(buffer_), error));
    if (error == http::error::need_more ? !readMore(kReadSize) : error.failed()) return std::nullopt;
  }
  auto& read = parser.get();
  HttpRequest request{
      std::string(read.method_string()), std::string(read.target()), {}, std::move(read.body())};
  for (const auto& field : read) request.headers.emplace_back(field.name_string(), field.value());
  return request;
}

std::optional<std::string> ServerConnection::read(std::size_t size) {
  buffer_.reserve(size);
  while (buffer_.size() < size) {
    if (!readMore(std::min(size - buffer_.size(), kReadSize))) return std::nullopt;
  }
  std::string bytes = buffer_.substr(0, size);
  buffer_.erase(0, size);
  return bytes;
}

bool ServerConnection::write(std::string_view bytes) {
  while (!bytes.empty()) {
    const int size = static_cast<int>(std::min<std::size_t>(bytes.size(), 1u << 20));
    const ssize_t written = tls_
                                ? SSL_write(tls_, bytes.data(), size)
                                : ::send(socket_, bytes.data(), static_cast<std::size_t>(size), MSG_NOSIGNAL);
    if (written <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

void ServerConnection::waitForClose() {
  while (readMore(kReadSize)) buffer_.clear();
}

void ServerConnection::reset() {
  const linger now{1, 0};
  setsockopt(socket_, SOL_SOCKET, SO_LINGER, &now, sizeof now);
}

bool ServerConnection::readMore(std::size_t size) {
  const std::size_t before = buffer_.size();
  buffer_.resize(before + size);
  const ssize_t received = tls_ ? SSL_read(tls_, buffer_.data() + before, static_cast<int>(size))
                                : ::recv(socket_, buffer_.data() + before, size, 0);
  buffer_.resize(before + static_cast<std::size_t>(std::max<ssize_t>(received, 0)));
  return received > 0;
}
