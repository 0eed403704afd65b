#include "tests/support/ServerConnection.h"

#include <openssl/ssl.h>
#include <strings.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstdlib>

namespace {

constexpr std::size_t kReadSize = 256u << 10;
constexpr std::size_t kLargestHead = 1u << 20;

bool isNamed(const HttpRequest::Field& field, std::string_view name) {
  return field.first.size() == name.size() && strncasecmp(field.first.data(), name.data(), name.size()) == 0;
}

HttpRequest parseHead(std::string_view head) {
  HttpRequest request;
  bool isFirst = true;
  while (!head.empty()) {
    const std::string_view line = head.substr(0, head.find("\r\n"));
    head.remove_prefix(std::min(head.size(), line.size() + 2));
    if (isFirst) {
      const std::size_t blank = line.find(' ');
      request.method = line.substr(0, blank);
      request.target = line.substr(blank + 1, line.rfind(' ') - blank - 1);
      isFirst = false;
      continue;
    }
    const std::size_t colon = line.find(':');
    std::string_view value = line.substr(std::min(line.size(), colon + 1));
    while (value.starts_with(' ')) value.remove_prefix(1);
    request.headers.emplace_back(line.substr(0, colon), value);
  }
  return request;
}

}  // namespace

const std::string* HttpRequest::header(std::string_view name) const {
  const auto found =
      std::find_if(headers.begin(), headers.end(), [&](const Field& field) { return isNamed(field, name); });
  return found == headers.end() ? nullptr : &found->second;
}

std::size_t HttpRequest::countOfHeader(std::string_view name) const {
  return static_cast<std::size_t>(std::count_if(headers.begin(), headers.end(),
                                                [&](const Field& field) { return isNamed(field, name); }));
}

ServerConnection::ServerConnection(int socket, SSL_CTX* context)
    : socket_(socket), tls_(context ? SSL_new(context) : nullptr) {
  if (tls_) SSL_set_fd(tls_, socket_);
}

ServerConnection::~ServerConnection() { SSL_free(tls_); }

bool ServerConnection::handshake() { return !tls_ || SSL_accept(tls_) == 1; }

std::optional<HttpRequest> ServerConnection::readRequest() {
  std::size_t end = std::string::npos;
  while ((end = buffer_.find("\r\n\r\n")) == std::string::npos) {
    if (buffer_.size() > kLargestHead || !readMore(kReadSize)) return std::nullopt;
    if (buffer_[0] < 'A' || buffer_[0] > 'Z') return std::nullopt;
  }
  HttpRequest request = parseHead(std::string_view(buffer_).substr(0, end + 2));
  buffer_.erase(0, end + 4);
  const std::string* length = request.header("Content-Length");
  std::optional<std::string> body = read(length ? std::strtoull(length->c_str(), nullptr, 10) : 0);
  if (!body) return std::nullopt;
  request.body = std::move(*body);
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
