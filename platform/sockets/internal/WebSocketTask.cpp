#include "platform/sockets/internal/WebSocketTask.h"

#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>

#include <atomic>
#include <chrono>
#include <deque>
#include <exception>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "platform/dispatch/DispatchQueue.h"
#include "platform/foundation/SystemLog.h"
#include "platform/net/NSHTTPURLResponse.h"
#include "platform/net/NSURLError.h"
#include "platform/net/internal/GuardedCompletion.h"
#include "platform/net/internal/Timeout.h"
#include "platform/runtime/Mutex.h"
#include "platform/sockets/internal/WebSocketConnector.h"
#include "platform/sockets/internal/WebSocketStream.h"
#include "platform/sockets/internal/WebSocketThread.h"
#include "platform/sockets/internal/WebSocketUpgrade.h"

namespace platform {
namespace {

namespace asio = boost::asio;
using boost::system::error_code;
using Clock = std::chrono::steady_clock;

constexpr int kSwitchingProtocols = 101;
// How long a socket that has been cancelled may take to say so to the other side.
constexpr std::chrono::seconds kLongestFarewell{1};

// What callers ask is posted to the network thread in the order of their calls; all below that belongs to the
// network thread alone. Every operation under way holds the task and no completion does, so that it is
// destroyed there, too.
class WebSocketTask : public NSURLSessionWebSocketTask, public std::enable_shared_from_this<WebSocketTask> {
 public:
  WebSocketTask(NSURLRequest request, std::shared_ptr<const NSURLSessionConfiguration> configuration,
                std::shared_ptr<DispatchQueue> queue)
      : request_(std::move(request)), configuration_(std::move(configuration)), queue_(std::move(queue)) {}

  void resume() override;
  void cancel() override;
  State state() const override {
    MutexLock lock(mutex_);
    return state_;
  }

  void receiveMessage(ReceiveCompletion completion) override;
  void sendMessage(NSURLSessionWebSocketMessage message, SendCompletion completion) override;

  std::shared_ptr<NSURLResponse> response() const override {
    MutexLock lock(mutex_);
    return response_;
  }
  CloseCode closeCode() const override {
    MutexLock lock(mutex_);
    return closeCode_;
  }
  std::optional<std::string> closeReason() const override {
    MutexLock lock(mutex_);
    return closeReason_;
  }

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
  void failAfter(Clock::duration delay, int code);
  void upgrade();
  void hearAnswer(std::shared_ptr<NSHTTPURLResponse> response);
  void upgraded();

  void proceed();
  void endIfUnneeded();
  void readMessage();
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

  NSError makeError(int code, std::string_view detail = {}) const {
    return makeURLError(code, request_.url(), detail);
  }
  template <class Completion, class... Message>
  void complete(Completion completion, std::optional<NSError> error, Message... message);
  void complete(ReceiveCompletion completion, std::optional<NSError> error) {
    complete(std::move(completion), std::move(error), std::optional<NSURLSessionWebSocketMessage>());
  }

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
  WebSocketStream stream_{thread_.context()};
  WebSocketConnector connector_{request_.url(), configuration_->certificateAuthorityFile,
                                stream_.transport()};
  Stage stage_ = Stage::unstarted;
  std::optional<NSError> endError_;
  bool isReleased_ = false;

  std::deque<ReceiveCompletion> receives_;
  std::deque<Send> sends_;
  bool isReading_ = false;
  bool isWriting_ = false;
  // What is being written; its completion is the first of sends_.
  std::optional<NSURLSessionWebSocketMessage> outgoing_;
};

void WebSocketTask::resume() {
  {
    MutexLock lock(mutex_);
    if (state_ != State::suspended) return;
    state_ = State::running;
  }
  post([](WebSocketTask& task) { task.begin(); });
}

void WebSocketTask::cancel() {
  {
    MutexLock lock(mutex_);
    if (state_ != State::suspended && state_ != State::running) return;
    state_ = State::canceling;
    isCancelled_->store(true);
  }
  post([](WebSocketTask& task) { task.end(task.makeError(NSURLErrorCancelled), Farewell::closeFrame); });
}

void WebSocketTask::release(std::shared_ptr<WebSocketTask> task) noexcept {
  // The network thread may hold completions of a task that was never resumed, but none of one it never knew.
  if (!task->isKnown_) return;
  try {
    asio::io_context& context = task->thread_.context();
    asio::post(context, [task = std::move(task)] {
      task->isReleased_ = true;
      task->endIfUnneeded();
    });
  } catch (const std::exception& exception) {
    NSLog(std::string("A WebSocket task could not be closed: ") + exception.what());
  }
}

void WebSocketTask::receiveMessage(ReceiveCompletion completion) {
  post([completion = std::move(completion)](WebSocketTask& task) mutable {
    if (task.stage_ == Stage::ended) return task.complete(std::move(completion), task.endError_);
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
  failAfter(timeoutOf(request_.timeoutInterval()), NSURLErrorTimedOut);
  connector_.connect([self = shared_from_this()](int code, const std::string& detail) {
    code == 0 ? self->upgrade() : self->fail(code, detail);
  });
}

// Unless the timer is set anew or cancelled before.
void WebSocketTask::failAfter(Clock::duration delay, int code) {
  timer_.expires_after(delay);
  timer_.async_wait([self = shared_from_this(), code](error_code error) {
    const bool isDue = !error && self->timer_.expiry() <= Clock::now();
    if (isDue) self->fail(code);
  });
}

void WebSocketTask::upgrade() {
  stream_.upgrade(
      request_, [this](auto response) { hearAnswer(std::move(response)); }, [this] { hearCloseFrame(); },
      [self = shared_from_this()](error_code error) {
        error ? self->streamFailed(error) : self->upgraded();
      });
}

void WebSocketTask::hearAnswer(std::shared_ptr<NSHTTPURLResponse> response) {
  if (stage_ == Stage::ended) return;
  const int status = response->statusCode();
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
  proceed();
}

void WebSocketTask::proceed() {
  endIfUnneeded();
  writeMessage();
  readMessage();
}

// Once its maker has dropped the task and no completion is due.
void WebSocketTask::endIfUnneeded() {
  const bool isAnswerDue = stage_ != Stage::unstarted && !(receives_.empty() && sends_.empty());
  if (isReleased_ && !isAnswerDue) end(makeError(NSURLErrorCancelled), Farewell::closeFrame);
}

// Nothing is read unless somebody asks for it, so that what is not asked for waits on the other side.
void WebSocketTask::readMessage() {
  if (stage_ != Stage::open || isReading_ || receives_.empty()) return;
  isReading_ = true;
  stream_.read([self = shared_from_this()](error_code error) { self->finishReading(error); });
}

void WebSocketTask::finishReading(error_code error) {
  isReading_ = false;
  if (stage_ == Stage::ended) return;
  if (error) return streamFailed(error);
  ReceiveCompletion completion = std::move(receives_.front());
  receives_.pop_front();
  complete(std::move(completion), std::nullopt, std::optional(stream_.takeMessage()));
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
  stream_.write(*outgoing_, [self = shared_from_this()](error_code error) { self->finishWriting(error); });
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
  {
    MutexLock lock(mutex_);
    closeCode_ = stream_.closeCode();
    closeReason_ = stream_.closeReason();
  }
  failAfter(kLongestFarewell, NSURLErrorNetworkConnectionLost);
}

// Once an operation has failed, Beast aborts the other; the one that failed knows why.
void WebSocketTask::streamFailed(error_code error) {
  if (stage_ == Stage::ended) return;
  const bool isOther = error == asio::error::operation_aborted && (isReading_ || isWriting_);
  if (!isOther) fail(WebSocketStream::codeOf(error), error.message());
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
  for (ReceiveCompletion& completion : receives_) complete(std::move(completion), error);
  receives_.clear();
  // A close frame cannot stand in the middle of another.
  const bool canSayGoodbye = wasOpen && farewell == Farewell::closeFrame && !isWriting_;
  canSayGoodbye ? sayGoodbye() : stream_.closeSocket();
}

// Closes when the other side has agreed, or when it has had its time.
void WebSocketTask::sayGoodbye() {
  timer_.expires_after(kLongestFarewell);
  timer_.async_wait([self = shared_from_this()](error_code error) {
    if (!error) self->stream_.closeSocket();
  });
  stream_.sayGoodbye([self = shared_from_this()](error_code) {
    self->timer_.cancel();
    self->stream_.closeSocket();
  });
}

// On the session's queue: with what came, or with a cancellation that came before it runs.
template <class Completion, class... Message>
void WebSocketTask::complete(Completion completion, std::optional<NSError> error, Message... message) {
  if (!completion) return;
  queue_->async([completion = std::move(completion), error = std::move(error), isCancelled = isCancelled_,
                 url = request_.url(), ... message = std::move(message)]() mutable {
    if (*isCancelled) {
      (message.reset(), ...);
      error = makeURLError(NSURLErrorCancelled, url);
    }
    callGuarded("WebSocket task", completion, std::move(message)..., std::move(error));
  });
}

}  // namespace

std::shared_ptr<NSURLSessionWebSocketTask> makeWebSocketTask(
    NSURLRequest request, std::shared_ptr<const NSURLSessionConfiguration> configuration,
    std::shared_ptr<DispatchQueue> queue) {
  std::shared_ptr<WebSocketTask> task;
  try {
    WebSocketThread::shared().launch();
    // The first of the process opens the descriptors on which the thread waits.
    task = std::make_shared<WebSocketTask>(std::move(request), std::move(configuration), std::move(queue));
  } catch (const std::runtime_error& error) {  // of Boost and of the standard library
    NSLog(std::string("A WebSocket task could not be made: ") + error.what());
    return nullptr;
  }
  NSURLSessionWebSocketTask* const address = task.get();
  // What the maker holds is a handle: the task itself is held by what is under way, too.
  return {address, [task = std::move(task)](NSURLSessionWebSocketTask*) mutable {
            WebSocketTask::release(std::move(task));
          }};
}

}  // namespace platform
