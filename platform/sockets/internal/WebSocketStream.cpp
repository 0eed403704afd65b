#include "platform/sockets/internal/WebSocketStream.h"

#include <boost/beast/http/empty_body.hpp>
#include <boost/beast/http/parser.hpp>

#include <algorithm>
#include <utility>
#include <vector>

#include "platform/net/NSURLError.h"
#include "platform/sockets/internal/WebSocketUpgrade.h"

namespace platform {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = boost::beast::http;
namespace websocket = boost::beast::websocket;

constexpr std::size_t kMaximumHeadSize = 64 * 1024;
constexpr std::size_t kWriteBufferSize = 64 * 1024;
constexpr std::size_t kFirstReadSize = 4 * 1024;
// What a close frame without a code counts as.
constexpr NSURLSessionWebSocketTask::CloseCode kNoStatusReceived = 1005;

}  // namespace

int WebSocketStream::codeOf(Error error) {
  if (error == websocket::error::message_too_big) return NSURLErrorDataLengthExceedsMaximum;
  if (error == websocket::error::bad_frame_payload) return NSURLErrorCannotDecodeContentData;
  const bool isTruncated = error == http::error::end_of_stream || error == http::error::partial_message ||
                           error == websocket::error::closed;
  if (isTruncated) return NSURLErrorNetworkConnectionLost;
  const bool isNonsense =
      error.category() == http::make_error_code(http::error::bad_version).category() ||
      error.category() == websocket::make_error_code(websocket::error::bad_opcode).category();
  return isNonsense ? NSURLErrorBadServerResponse : NSURLErrorNetworkConnectionLost;
}

void WebSocketStream::upgrade(const NSURLRequest& request, Answer answer, std::function<void()> closed,
                              Completion completion) {
  stream_.read_message_max(NSURLSessionWebSocketTask::kMaximumMessageSize);
  stream_.write_buffer_bytes(kWriteBufferSize);
  stream_.auto_fragment(false);
  stream_.set_option(websocket::stream_base::decorator([&request](websocket::request_type& head) {
    for (const auto& [name, value] : webSocketFields(request)) head.set(name, value);
  }));
  stream_.control_callback([closed = std::move(closed)](websocket::frame_type kind, beast::string_view) {
    if (kind == websocket::frame_type::close) closed();
  });
  transport().setListener([this, url = request.url(), answer = std::move(answer)](std::string_view bytes) {
    hearAnswer(bytes, url, answer);
  });
  stream_.async_handshake(webSocketHostField(request.url()), webSocketTarget(request.url()),
                          [this, completion = std::move(completion)](Error error) {
                            transport().setListener(nullptr);
                            answerHead_ = {};
                            completion(error);
                          });
}

// Beast tells of an answer when its body has come, too, which the server of a refusal may hold back for ever.
void WebSocketStream::hearAnswer(std::string_view bytes, const NSURL& url, const Answer& answer) {
  if (isAnswered_ || answerHead_.size() > kMaximumHeadSize) return;
  answerHead_.append(bytes);
  const std::size_t end = answerHead_.find("\r\n\r\n");
  if (end == std::string::npos) return;
  http::response_parser<http::empty_body> parser;
  Error error;
  parser.put(asio::buffer(answerHead_.data(), end + 4), error);
  if (!parser.is_header_done()) return;

  isAnswered_ = true;
  std::vector<HTTPHeaderField> headers;
  for (const auto& field : parser.get()) headers.emplace_back(field.name_string(), field.value());
  const int status = static_cast<int>(parser.get().result_int());
  answer(std::make_shared<NSHTTPURLResponse>(url, status, std::move(headers)));
}

void WebSocketStream::read(Completion completion) {
  // Grows with what has come and not with what was announced.
  if (received_ == incoming_.size()) incoming_.resize(std::max(kFirstReadSize, 2 * received_));
  stream_.async_read_some(asio::buffer(incoming_.data() + received_, incoming_.size() - received_),
                          [this, completion = std::move(completion)](Error error, std::size_t count) mutable {
                            received_ += count;
                            if (!error && !isClosing_ && !stream_.is_message_done())
                              return read(std::move(completion));
                            if (error || isClosing_) dropMessage();
                            completion(error);
                          });
}

void WebSocketStream::dropMessage() {
  incoming_ = {};
  received_ = 0;
}

NSURLSessionWebSocketMessage WebSocketStream::takeMessage() {
  std::string bytes = std::move(incoming_);
  bytes.resize(received_);
  dropMessage();
  return stream_.got_text() ? NSURLSessionWebSocketMessage::withString(std::move(bytes))
                            : NSURLSessionWebSocketMessage::withData(std::move(bytes));
}

void WebSocketStream::write(const NSURLSessionWebSocketMessage& message, Completion completion) {
  stream_.text(message.type() == NSURLSessionWebSocketMessage::Type::string);
  stream_.async_write(asio::buffer(message.bytes()),
                      [completion = std::move(completion)](Error error, std::size_t) { completion(error); });
}

NSURLSessionWebSocketTask::CloseCode WebSocketStream::closeCode() const {
  const auto code = stream_.reason().code;
  return code == websocket::close_code::none ? kNoStatusReceived : code;
}

std::string WebSocketStream::closeReason() const {
  const auto& reason = stream_.reason().reason;
  return {reason.data(), reason.size()};
}

void WebSocketStream::sayGoodbye(Completion completion) {
  isClosing_ = true;
  stream_.async_close({}, std::move(completion));
}

void WebSocketStream::closeSocket() {
  isClosing_ = true;
  Error ignored;
  transport().next_layer().close(ignored);
}

}  // namespace platform
