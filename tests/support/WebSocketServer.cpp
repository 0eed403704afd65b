#include "tests/support/WebSocketServer.h"

#include <openssl/evp.h>
#include <openssl/sha.h>

#include <utility>

namespace {

constexpr std::size_t kLargestFrame = 256u << 20;

std::string acceptKeyFor(std::string_view clientKey) {
  const std::string text = std::string(clientKey) + "258EAFA5-E914-47DA-95CA-C5AB0DC85B11";
  unsigned char digest[SHA_DIGEST_LENGTH], base64[29];
  SHA1(reinterpret_cast<const unsigned char*>(text.data()), text.size(), digest);
  EVP_EncodeBlock(base64, digest, sizeof digest);
  return reinterpret_cast<const char*>(base64);
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

// Sanitizers would look at every byte of many megabytes.
__attribute__((no_sanitize("address"), no_sanitize("thread"))) void unmask(char* bytes, std::uint64_t size,
                                                                           const char* mask) {
  for (std::uint64_t i = 0; i < size; ++i) bytes[i] ^= mask[i % 4];
}

}  // namespace

int WebSocketServer::Frame::closeCode() const {
  return payload.size() < 2 ? 0 : static_cast<int>(fromBigEndian(std::string_view(payload).substr(0, 2)));
}

const HttpRequest* WebSocketServer::Peer::readRequest() {
  if (!request_ && connection_.handshake()) {
    request_ = connection_.readRequest();
    const std::lock_guard lock(server_.mutex_);
    if (request_) server_.requests_.push_back(*request_);
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
  if (frame.isMasked) unmask(frame.payload.data(), size, mask->data());
  if (frame.opcode == Opcode::text || frame.opcode == Opcode::binary) {
    const std::lock_guard lock(server_.mutex_);
    server_.messages_.push_back(frame.payload);
  }
  return frame;
}

WebSocketServer::WebSocketServer(Script script, const TestCertificate* certificate)
    : LoopbackListener(certificate) {
  begin([this, script = std::move(script)](ServerConnection& connection) {
    Peer peer(*this, connection);
    script(peer);
  });
}

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

std::vector<std::string> WebSocketServer::messages() const {
  const std::lock_guard lock(mutex_);
  return messages_;
}
