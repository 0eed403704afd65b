#include "tests/support/HttpServer.h"

#include <stdexcept>

HttpServer::Reply HttpServer::Reply::text(std::string body, int status) {
  Reply reply;
  reply.status = status;
  reply.body = std::move(body);
  return reply;
}

HttpServer::Reply HttpServer::Reply::rawBytes(std::string bytes, Ending ending) {
  Reply reply;
  reply.raw = std::move(bytes);
  reply.ending = ending;
  return reply;
}

HttpServer::Reply HttpServer::Reply::redirect(int status, std::string location) {
  Reply reply = text("moved", status);
  reply.headers.emplace_back("Location", std::move(location));
  return reply;
}

void HttpServer::handle(const std::string& path, Handler handler) {
  const std::lock_guard lock(mutex_);
  handlers_[path] = std::move(handler);
}

void HttpServer::keepRequests(bool keep) {
  const std::lock_guard lock(mutex_);
  keepsRequests_ = keep;
}

std::size_t HttpServer::requestCount() const {
  const std::lock_guard lock(mutex_);
  return requestCount_;
}

HttpServer::Request HttpServer::lastRequest() const {
  const std::lock_guard lock(mutex_);
  if (requests_.empty()) throw std::logic_error("HttpServer has kept no request");
  return requests_.back();
}

bool HttpServer::waitForRequests(std::size_t count) const {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, std::chrono::seconds(20), [&] { return requestCount_ >= count; });
}

void HttpServer::serve(ServerConnection& connection) {
  if (!connection.handshake()) return;
  while (std::optional<Request> request = connection.readRequest()) {
    Reply reply = replyTo(*request);
    {
      const std::lock_guard lock(mutex_);
      ++requestCount_;
      if (keepsRequests_) requests_.push_back(std::move(*request));
      changed_.notify_all();
    }
    if (observer_) observer_();
    if (!send(connection, reply)) return;
    if (reply.ending == Reply::Ending::stall) return connection.waitForClose();
    if (reply.ending == Reply::Ending::reset) return connection.reset();
    if (reply.ending == Reply::Ending::close) return;
  }
}

bool HttpServer::send(ServerConnection& connection, const Reply& reply) {
  std::string bytes = "HTTP/1.1 " + std::to_string(reply.status) + " Status\r\n";
  for (const auto& [name, value] : reply.headers) bytes += name + ": " + value + "\r\n";
  const std::size_t length = reply.announcedLength.value_or(reply.body.size());
  bytes += "Content-Length: " + std::to_string(length) + "\r\n\r\n" + reply.body;
  if (reply.raw) bytes = *reply.raw;
  if (reply.pieceSize == 0) return connection.write(bytes);

  for (std::size_t at = 0; at < bytes.size(); at += reply.pieceSize) {
    if (!connection.write(std::string_view(bytes).substr(at, reply.pieceSize))) return false;
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, reply.pause, [this] { return stopping_; });
  }
  return true;
}

HttpServer::Reply HttpServer::replyTo(const Request& request) {
  Handler handler;
  {
    const std::lock_guard lock(mutex_);
    const auto found = handlers_.find(request.path());
    if (found != handlers_.end()) handler = found->second;
  }
  return handler ? handler(request) : Reply::text("");
}
