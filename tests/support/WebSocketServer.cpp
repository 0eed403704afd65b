#include "tests/support/WebSocketServer.h"

#include <openssl/evp.h>
#include <openssl/sha.h>

#include <array>
#include <cstring>
#include <utility>

namespace {

constexpr std::size_t kLargestFrame = 256u << 20;

std::string base64(const unsigned char* bytes, std::size_t size) {
  std::string text((size + 2) / 3 * 4 + 1, '\0');
  EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()), bytes, static_cast<int>(size));
  text.pop_back();
  return text;
}

std::string acceptKeyFor(std::string_view clientKey) {
  const std::string text = std::string(clientKey) + "258EAFA5-E914-47DA-95CA-C5AB0DC85B11";
  std::array<unsigned char, SHA_DIGEST_LENGTH> digest;
  SHA1(reinterpret_cast<const unsigned char*>(text.data()), text.size(), digest.data());
  return base64(digest.data(), digest.size());
}

std::string bigEndian(std::uint64_t number, int bytes) {
  std::string text;
  for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8) text += static_cast<char>(number >> shift);
  return text;
}

std::uint64_t fromBigEndian(std::string_view bytes) {
  std::uint64_t number = 0;
  for (const char byte : bytes) number = number << 8 | static_cast<unsigned char>(byte);
  return number;
}

// Eight bytes at a time, because a sanitizer looks at every access.
void unmask(std::string& payload, const std::string& mask) {
  const std::string twice = mask + mask;
  std::uint64_t pattern = 0;
  std::memcpy(&pattern, twice.data(), sizeof pattern);
  std::size_t at = 0;
  for (; at + sizeof pattern <= payload.size(); at += sizeof pattern) {
    std::uint64_t word = 0;
    std::memcpy(&word, payload.data() + at, sizeof word);
    word ^= pattern;
    std::memcpy(payload.data() + at, &word, sizeof word);
  }
  for (; at < payload.size(); ++at) payload[at] ^= mask[at % mask.size()];
}

}  // namespace

int WebSocketServer::Frame::closeCode() const {
  return payload.size() < 2 ? 0 : static_cast<int>(fromBigEndian(std::string_view(payload).substr(0, 2)));
}

const HttpRequest* WebSocketServer::Peer::readRequest() {
  if (!request_ && connection_.handshake()) {
    request_ = connection_.readRequest();
    if (request_) server_.keep(*request_);
  }
  return request_ ? &*request_ : nullptr;
}

bool WebSocketServer::Peer::accept() {
  const HttpRequest* request = readRequest();
  const std::string* key = request ? request->header("Sec-WebSocket-Key") : nullptr;
  return key && acceptWith(acceptKeyFor(*key));
}

bool WebSocketServer::Peer::acceptWith(std::string_view acceptKey) {
  return readRequest() &&
         write(
             "HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
             "Sec-WebSocket-Accept: " +
             std::string(acceptKey) + "\r\n\r\n");
}

bool WebSocketServer::Peer::refuse(int status, const std::vector<HttpRequest::Field>& headers) {
  std::string head = "HTTP/1.1 " + std::to_string(status) + " Status\r\nContent-Length: 0\r\n";
  for (const auto& [name, value] : headers) head += name + ": " + value + "\r\n";
  return readRequest() && write(head + "\r\n");
}

bool WebSocketServer::Peer::send(Opcode opcode, std::string_view payload, Part part) {
  return write(frame(opcode, payload, part));
}

bool WebSocketServer::Peer::close(int code, std::string_view reason) {
  return send(Opcode::close, bigEndian(static_cast<std::uint64_t>(code), 2).append(reason));
}

std::optional<WebSocketServer::Frame> WebSocketServer::Peer::receive() {
  const std::optional<std::string> head = connection_.read(2);
  if (!head) return std::nullopt;
  Frame frame;
  frame.opcode = static_cast<Opcode>((*head)[0] & 0x0f);
  frame.part = ((*head)[0] & 0x80) != 0 ? Part::last : Part::more;
  frame.isMasked = ((*head)[1] & 0x80) != 0;

  std::uint64_t size = (*head)[1] & 0x7f;
  if (size >= 126) {
    const std::optional<std::string> longSize = connection_.read(size == 126 ? 2 : 8);
    if (!longSize) return std::nullopt;
    size = fromBigEndian(*longSize);
  }
  if (size > kLargestFrame) return std::nullopt;
  const std::optional<std::string> mask = connection_.read(frame.isMasked ? 4 : 0);
  std::optional<std::string> payload = mask ? connection_.read(size) : std::nullopt;
  if (!payload) return std::nullopt;
  frame.payload = std::move(*payload);
  if (frame.isMasked) unmask(frame.payload, *mask);

  if (frame.opcode == Opcode::text || frame.opcode == Opcode::binary) server_.keep(frame.payload);
  return frame;
}

WebSocketServer::WebSocketServer(Script script, const TestCertificate* certificate)
    : script_(std::move(script)), listener_(certificate, [this](ServerConnection& connection) {
        Peer peer(*this, connection);
        script_(peer);
      }) {}

void WebSocketServer::echo(Peer& peer) {
  peer.accept();
  while (const std::optional<Frame> frame = peer.receive()) {
    if (frame->opcode == Opcode::ping || frame->opcode == Opcode::pong) continue;
    if (!peer.send(frame->opcode, frame->payload, frame->part) || frame->opcode == Opcode::close) return;
  }
}

std::string WebSocketServer::frame(Opcode opcode, std::string_view payload, Part part) {
  std::string bytes(1, static_cast<char>(static_cast<int>(opcode) | (part == Part::last ? 0x80 : 0)));
  if (payload.size() < 126) {
    bytes += static_cast<char>(payload.size());
  } else {
    const bool isShort = payload.size() < 65536;
    bytes += static_cast<char>(isShort ? 126 : 127);
    bytes += bigEndian(payload.size(), isShort ? 2 : 8);
  }
  return bytes.append(payload);
}

std::string WebSocketServer::url(std::string_view path) const {
  return std::string(listener_.isSecure() ? "wss" : "ws") + "://127.0.0.1:" + std::to_string(port()) +
         std::string(path);
}

std::vector<HttpRequest> WebSocketServer::requests() const {
  const std::lock_guard lock(mutex_);
  return requests_;
}

std::vector<std::string> WebSocketServer::messages() const {
  const std::lock_guard lock(mutex_);
  return messages_;
}

void WebSocketServer::keep(const HttpRequest& request) {
  const std::lock_guard lock(mutex_);
  requests_.push_back(request);
}

void WebSocketServer::keep(const std::string& message) {
  const std::lock_guard lock(mutex_);
  messages_.push_back(message);
}
