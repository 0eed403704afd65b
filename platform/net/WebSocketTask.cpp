#include "platform/net/WebSocketTask.h"

#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core/bind_handler.hpp>
#include <boost/beast/http/empty_body.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/websocket/stream.hpp>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <deque>
#include <exception>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/dispatch/DispatchQueue.h"
#include "platform/foundation/String.h"
#include "platform/foundation/SystemLog.h"
#include "platform/net/NSHTTPURLResponse.h"
#include "platform/net/NSURLError.h"
#include "platform/net/WebSocketConnector.h"
#include "platform/net/WebSocketThread.h"
#include "platform/net/WebSocketTransport.h"
#include "platform/net/WebSocketUpgrade.h"
#include "platform/runtime/Mutex.h"

namespace platform {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = boost::beast::http;
namespace websocket = boost::beast::websocket;
using boost::system::error_code;

using Clock = std::chrono::steady_clock;

constexpr int kSwitchingProtocols = 101;
// How long a socket that has been cancelled may take to say so to the other side.
constexpr std::chrono::seconds kLongestFarewell{1};
// A timeout above this is as good as none, and does not overflow a clock.
constexpr double kLongestTimeout = 30.0 * 24 * 3600;
constexpr std::size_t kMaximumHeadSize = 64 * 1024;
constexpr std::size_t kWriteBufferSize = 64 * 1024;
constexpr std::size_t kFirstReadSize = 4 * 1024;
// What a close frame without a code counts as.
constexpr NSURLSessionWebSocketTask::CloseCode kNoStatusReceived = 1005;

// What Beast calls after a close handshake. The socket is closed by the task; nothing waits for the other
// side.
template <class Handler>
void async_teardown(beast::role_type, WebSocketTransport& transport, Handler&& handler) {
  asio::post(transport.get_executor(),
             beast::bind_front_handler(std::forward<Handler>(handler), error_code()));
}

// Of an upgrade, and of an open socket.
int codeOfStreamError(error_code error) {
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

// The session's queue must survive whatever a completion throws.
template <class Completion, class... Results>
void callGuarded(const Completion& completion, Results&&... results) {
  try {
    completion(std::forward<Results>(results)...);
  } catch (const std::exception& exception) {
    NSLog(std::string("The completion of a WebSocket task threw an exception: ") + exception.what());
  } catch (...) {
    NSLog("The completion of a WebSocket task threw an exception.");
  }
}

// The task. What callers ask is posted to the network thread in the order of their calls, and all below that
// is of the network thread alone. Every operation under way holds the task, and no completion does, so that
// it is destroyed there, too.
class WebSocketTask : public NSURLSessionWebSocketTask, public std::enable_shared_from_this<WebSocketTask> {
 public:
  WebSocketTask(NSURLRequest request, std::shared_ptr<const NSURLSessionConfiguration> configuration,
                std::shared_ptr<DispatchQueue> queue)
      : request_(std::move(request)), configuration_(std::move(configuration)), queue_(std::move(queue)) {}

  void resume() override;
  void cancel() override;
  State state() const override;

  void receiveMessage(ReceiveCompletion completion) override;
  void sendMessage(NSURLSessionWebSocketMessage message, SendCompletion completion) override;

  std::shared_ptr<NSURLResponse> response() const override;
  CloseCode closeCode() const override;
  std::optional<std::string> closeReason() const override;

  // The maker has dropped the task.
  static void release(std::shared_ptr<WebSocketTask> task) noexcept;

 private:
  enum class Stage { unstarted, connecting, open, ended };
  enum class Farewell { none, closeFrame };

  struct Send {
    NSURLSessionWebSocketMessage message;
    SendCompletion completion;
  };

  template <class Action>
  void post(Action action) {
    isKnown_ = true;
    asio::post(thread_.context(),
               [self = shared_from_this(), action = std::move(action)]() mutable { action(*self); });
  }

  void begin();
  void failAfter(std::chrono::duration<double> delay, int code);
  void upgrade();
  void hearAnswer(std::string_view bytes);
  void upgraded();

  void proceed();
  void endIfUnneeded();
  void readMessage();
  void readPart();
  void finishReading(error_code error);
  void writeMessage();
  void finishWriting(error_code error);
  void finishSend(std::optional<NSError> error);
  std::optional<NSError> refusal(const NSURLSessionWebSocketMessage& message) const;

  void hearCloseFrame();
  void streamFailed(error_code error);
  void fail(int code, std::string_view detail = {}) { end(makeError(code, detail), Farewell::none); }
  void end(NSError error, Farewell farewell);
  void sayGoodbye();
  void closeSocket();

  NSError makeError(int code, std::string_view detail = {}) const {
    return makeURLError(code, request_.url(), detail);
  }
  void complete(ReceiveCompletion completion, std::optional<NSURLSessionWebSocketMessage> message,
                std::optional<NSError> error);
  void complete(SendCompletion completion, std::optional<NSError> error);

  WebSocketTransport& transport() { return stream_.next_layer(); }

  const NSURLRequest request_;
  const std::shared_ptr<const NSURLSessionConfiguration> configuration_;
  const std::shared_ptr<DispatchQueue> queue_;
  // Set by cancel(); completions look at it when they run.
  const std::shared_ptr<std::atomic<bool>> isCancelled_ = std::make_shared<std::atomic<bool>>(false);

  // To the network thread.
  std::atomic<bool> isKnown_ = false;

  mutable Mutex mutex_;
  State state_ PLATFORM_GUARDED_BY(mutex_) = State::suspended;
  std::shared_ptr<NSURLResponse> response_ PLATFORM_GUARDED_BY(mutex_);
  CloseCode closeCode_ PLATFORM_GUARDED_BY(mutex_) = kCloseCodeInvalid;
  std::optional<std::string> closeReason_ PLATFORM_GUARDED_BY(mutex_);

  // Of the network thread alone.
  WebSocketThread& thread_ = WebSocketThread::shared();
  asio::steady_timer timer_{thread_.context()};
  websocket::stream<WebSocketTransport, false> stream_{thread_.context()};
  WebSocketConnector connector_{request_.url(), configuration_->certificateAuthorityFile, transport()};
  Stage stage_ = Stage::unstarted;
  std::optional<NSError> endError_;
  bool isReleased_ = false;
  std::string answerHead_;

  std::deque<ReceiveCompletion> receives_;
  std::deque<Send> sends_;
  // A message that is being read: so many bytes of `incoming_` have come.
  bool isReading_ = false;
  std::string incoming_;
  std::size_t received_ = 0;
  // A message that is being written; the completion is the first of sends_.
  bool isWriting_ = false;
  std::optional<NSURLSessionWebSocketMessage> outgoing_;
};

NSURLSessionTask::State WebSocketTask::state() const {
  MutexLock lock(mutex_);
  return state_;
}

std::shared_ptr<NSURLResponse> WebSocketTask::response() const {
  MutexLock lock(mutex_);
  return response_;
}

NSURLSessionWebSocketTask::CloseCode WebSocketTask::closeCode() const {
  MutexLock lock(mutex_);
  return closeCode_;
}

std::optional<std::string> WebSocketTask::closeReason() const {
  MutexLock lock(mutex_);
  return closeReason_;
}

void WebSocketTask::resume() {
  {
    MutexLock lock(mutex_);
    if (state_ != State::suspended) return;
    state_ = State::running;
  }
  thread_.launch();
  post([](WebSocketTask& task) { task.begin(); });
}

void WebSocketTask::cancel() {
  {
    MutexLock lock(mutex_);
    if (state_ != State::suspended && state_ != State::running) return;
    state_ = State::canceling;
    isCancelled_->store(true);
  }
  thread_.launch();
  post([](WebSocketTask& task) { task.end(task.makeError(NSURLErrorCancelled), Farewell::closeFrame); });
}

void WebSocketTask::release(std::shared_ptr<WebSocketTask> task) noexcept {
  // The network thread may hold completions of a task that was never resumed, but none of one it never knew.
  if (!task->isKnown_) return;
  try {
    WebSocketThread& thread = task->thread_;
    thread.launch();
    asio::post(thread.context(), [task = std::move(task)] {
      task->isReleased_ = true;
      task->endIfUnneeded();
    });
  } catch (const std::exception& exception) {
    NSLog(std::string("A WebSocket task could not be closed: ") + exception.what());
  }
}

void WebSocketTask::receiveMessage(ReceiveCompletion completion) {
  post([completion = std::move(completion)](WebSocketTask& task) mutable {
    if (task.stage_ == Stage::ended)
      return task.complete(std::move(completion), std::nullopt, task.endError_);
    task.receives_.push_back(std::move(completion));
    task.readMessage();
  });
}

void WebSocketTask::sendMessage(NSURLSessionWebSocketMessage message, SendCompletion completion) {
  post([message = std::move(message), completion = std::move(completion)](WebSocketTask& task) mutable {
    if (task.stage_ == Stage::ended) return task.complete(std::move(completion), task.endError_);
    task.sends_.push_back({std::move(message), std::move(completion)});
    task.writeMessage();
  });
}

void WebSocketTask::begin() {
  if (stage_ != Stage::unstarted) return;
  stage_ = Stage::connecting;
  const NSURL& url = request_.url();
  if (url.scheme() != "ws" && url.scheme() != "wss") return fail(NSURLErrorUnsupportedURL);
  if (!hasWebSocketHost(url)) return fail(NSURLErrorBadURL);
  failAfter(std::chrono::duration<double>(std::clamp(request_.timeoutInterval(), 0.0, kLongestTimeout)),
            NSURLErrorTimedOut);
  connector_.connect([self = shared_from_this()](int code, const std::string& detail) {
    code == 0 ? self->upgrade() : self->fail(code, detail);
  });
}

// Unless the timer is set anew or cancelled before.
void WebSocketTask::failAfter(std::chrono::duration<double> delay, int code) {
  timer_.expires_after(std::chrono::ceil<Clock::duration>(delay));
  timer_.async_wait([self = shared_from_this(), code](error_code error) {
    const bool isDue = !error && self->timer_.expiry() <= Clock::now();
    if (isDue) self->fail(code);
  });
}

void WebSocketTask::upgrade() {
  stream_.read_message_max(kMaximumMessageSize);
  stream_.write_buffer_bytes(kWriteBufferSize);
  stream_.auto_fragment(false);
  stream_.set_option(websocket::stream_base::decorator([this](websocket::request_type& head) {
    for (const auto& [name, value] : webSocketFields(request_)) head.set(name, value);
  }));
  stream_.control_callback([this](websocket::frame_type kind, beast::string_view) {
    if (kind == websocket::frame_type::close) hearCloseFrame();
  });
  transport().setListener([this](std::string_view bytes) { hearAnswer(bytes); });
  stream_.async_handshake(webSocketHostField(request_.url()), webSocketTarget(request_.url()),
                          [self = shared_from_this()](error_code error) {
                            self->transport().setListener(nullptr);
                            if (error) return self->streamFailed(error);
                            self->upgraded();
                          });
}

// Beast tells of an answer when its body has come, too, which the server of a refusal may hold back for ever.
void WebSocketTask::hearAnswer(std::string_view bytes) {
  if (stage_ == Stage::ended || response() || answerHead_.size() > kMaximumHeadSize) return;
  answerHead_.append(bytes);
  const std::size_t end = answerHead_.find("\r\n\r\n");
  if (end == std::string::npos) return;
  http::response_parser<http::empty_body> parser;
  error_code error;
  parser.put(asio::buffer(answerHead_.data(), end + 4), error);
  if (!parser.is_header_done()) return;

  const int status = static_cast<int>(parser.get().result_int());
  std::vector<HTTPHeaderField> headers;
  for (const auto& field : parser.get()) headers.emplace_back(field.name_string(), field.value());
  auto response = std::make_shared<NSHTTPURLResponse>(request_.url(), status, std::move(headers));
  {
    MutexLock lock(mutex_);
    response_ = std::move(response);
  }
  if (status != kSwitchingProtocols) {
    fail(NSURLErrorBadServerResponse, "The upgrade was answered with status " + std::to_string(status));
  }
}

void WebSocketTask::upgraded() {
  if (stage_ == Stage::ended) return;
  stage_ = Stage::open;
  timer_.expires_at(Clock::time_point::max());
  answerHead_ = {};
  proceed();
}

void WebSocketTask::proceed() {
  endIfUnneeded();
  writeMessage();
  readMessage();
}

// Whom nobody holds, and who owes nobody an answer.
void WebSocketTask::endIfUnneeded() {
  const bool canStillAnswer = stage_ != Stage::unstarted && !(receives_.empty() && sends_.empty());
  if (isReleased_ && !canStillAnswer) end(makeError(NSURLErrorCancelled), Farewell::closeFrame);
}

// Nothing is read unless somebody asks for it, so that what is not asked for waits on the other side.
void WebSocketTask::readMessage() {
  if (stage_ != Stage::open || isReading_ || receives_.empty()) return;
  isReading_ = true;
  received_ = 0;
  readPart();
}

void WebSocketTask::readPart() {
  // Grows with what has come and not with what was announced.
  if (received_ == incoming_.size()) incoming_.resize(std::max(kFirstReadSize, 2 * received_));
  stream_.async_read_some(asio::buffer(incoming_.data() + received_, incoming_.size() - received_),
                          [self = shared_from_this()](error_code error, std::size_t count) {
                            self->received_ += count;
                            const bool goesOn = !error && self->stage_ == Stage::open;
                            if (goesOn && !self->stream_.is_message_done()) return self->readPart();
                            self->finishReading(error);
                          });
}

void WebSocketTask::finishReading(error_code error) {
  isReading_ = false;
  std::string bytes = std::exchange(incoming_, {});
  if (stage_ == Stage::ended) return;
  if (error) return streamFailed(error);
  bytes.resize(received_);
  ReceiveCompletion completion = std::move(receives_.front());
  receives_.pop_front();
  complete(std::move(completion),
           stream_.got_text() ? NSURLSessionWebSocketMessage::withString(std::move(bytes))
                              : NSURLSessionWebSocketMessage::withData(std::move(bytes)),
           std::nullopt);
  proceed();
}

void WebSocketTask::writeMessage() {
  if (stage_ != Stage::open || isWriting_) return;
  while (!sends_.empty()) {
    std::optional<NSError> refused = refusal(sends_.front().message);
    if (!refused) break;
    finishSend(std::move(refused));
  }
  if (sends_.empty()) return;
  isWriting_ = true;
  outgoing_ = std::move(sends_.front().message);
  stream_.text(outgoing_->type() == NSURLSessionWebSocketMessage::Type::string);
  stream_.async_write(
      asio::buffer(outgoing_->bytes()),
      [self = shared_from_this()](error_code error, std::size_t) { self->finishWriting(error); });
}

void WebSocketTask::finishWriting(error_code error) {
  isWriting_ = false;
  outgoing_.reset();
  if (stage_ == Stage::ended) return;
  if (error) return streamFailed(error);
  finishSend(std::nullopt);
  proceed();
}

void WebSocketTask::finishSend(std::optional<NSError> error) {
  SendCompletion completion = std::move(sends_.front().completion);
  sends_.pop_front();
  complete(std::move(completion), std::move(error));
}

// Why a message is not sent, if it is not.
std::optional<NSError> WebSocketTask::refusal(const NSURLSessionWebSocketMessage& message) const {
  if (message.bytes().size() > kMaximumMessageSize) return makeError(NSURLErrorDataLengthExceedsMaximum);
  const bool isText = message.type() == NSURLSessionWebSocketMessage::Type::string;
  if (!isText || isWellFormedUTF8(message.bytes())) return std::nullopt;
  return makeError(NSURLErrorCannotDecodeContentData, "The text is not UTF-8");
}

// Beast answers it; a server that does not take the answer is not waited for.
void WebSocketTask::hearCloseFrame() {
  if (stage_ == Stage::ended) return;
  const websocket::close_reason& reason = stream_.reason();
  {
    MutexLock lock(mutex_);
    closeCode_ = reason.code == websocket::close_code::none ? kNoStatusReceived : reason.code;
    closeReason_.emplace(reason.reason.data(), reason.reason.size());
  }
  failAfter(kLongestFarewell, NSURLErrorNetworkConnectionLost);
}

// Once an operation has failed, Beast aborts the other; the one that failed knows why.
void WebSocketTask::streamFailed(error_code error) {
  if (stage_ == Stage::ended) return;
  const bool isOther = error == asio::error::operation_aborted && (isReading_ || isWriting_);
  if (!isOther) fail(codeOfStreamError(error), error.message());
}

void WebSocketTask::end(NSError error, Farewell farewell) {
  if (stage_ == Stage::ended) return;
  const bool wasOpen = std::exchange(stage_, Stage::ended) == Stage::open;
  {
    MutexLock lock(mutex_);
    state_ = State::completed;
  }
  endError_ = error;
  timer_.expires_at(Clock::time_point::max());
  connector_.cancel();
  while (!sends_.empty()) finishSend(error);
  for (ReceiveCompletion& completion : receives_) complete(std::move(completion), std::nullopt, error);
  receives_.clear();
  // A close frame cannot stand in the middle of another.
  const bool canSayGoodbye = wasOpen && farewell == Farewell::closeFrame && !isWriting_;
  canSayGoodbye ? sayGoodbye() : closeSocket();
}

// Closes when the other side has agreed, or when it has had its time.
void WebSocketTask::sayGoodbye() {
  timer_.expires_after(kLongestFarewell);
  timer_.async_wait([self = shared_from_this()](error_code error) {
    if (!error) self->closeSocket();
  });
  stream_.async_close({}, [self = shared_from_this()](error_code) {
    self->timer_.cancel();
    self->closeSocket();
  });
}

void WebSocketTask::closeSocket() {
  error_code ignored;
  transport().next_layer().close(ignored);
}

void WebSocketTask::complete(ReceiveCompletion completion,
                             std::optional<NSURLSessionWebSocketMessage> message,
                             std::optional<NSError> error) {
  if (!completion) return;
  queue_->async([completion = std::move(completion), message = std::move(message), error = std::move(error),
                 isCancelled = isCancelled_, url = request_.url()]() mutable {
    if (*isCancelled) {
      message.reset();
      error = makeURLError(NSURLErrorCancelled, url);
    }
    callGuarded(completion, std::move(message), std::move(error));
  });
}

void WebSocketTask::complete(SendCompletion completion, std::optional<NSError> error) {
  if (!completion) return;
  queue_->async([completion = std::move(completion), error = std::move(error), isCancelled = isCancelled_,
                 url = request_.url()]() mutable {
    if (*isCancelled) error = makeURLError(NSURLErrorCancelled, url);
    callGuarded(completion, std::move(error));
  });
}

}  // namespace

std::shared_ptr<NSURLSessionWebSocketTask> makeWebSocketTask(
    NSURLRequest request, std::shared_ptr<const NSURLSessionConfiguration> configuration,
    std::shared_ptr<DispatchQueue> queue) {
  auto task = std::make_shared<WebSocketTask>(std::move(request), std::move(configuration), std::move(queue));
  NSURLSessionWebSocketTask* const address = task.get();
  // What the maker holds is a handle: the task itself is held by what is under way, too.
  return {address, [task = std::move(task)](NSURLSessionWebSocketTask*) mutable {
            WebSocketTask::release(std::move(task));
          }};
}

}  // namespace platform
