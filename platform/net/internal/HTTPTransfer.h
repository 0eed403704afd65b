#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/net/NSURLSessionDataTask.h"
#include "platform/net/internal/Libcurl.h"

namespace platform {

// One exchange on the wire: a libcurl handle set up for a data task, what has come so far, and how the
// outcome becomes a response or an error. Lives on the transfer thread, which owns it, from the task's start
// to its end.
class HTTPTransfer {
 public:
  using Clock = std::chrono::steady_clock;

  HTTPTransfer(const Libcurl& libcurl, std::shared_ptr<NSURLSessionDataTask> task);
  ~HTTPTransfer();
  HTTPTransfer(const HTTPTransfer&) = delete;
  HTTPTransfer& operator=(const HTTPTransfer&) = delete;

  // Whether the request can never be sent, so that this side answers it.
  bool isTooLong() const { return task_->originalRequest().isTooLong(); }
  // The code of NSURLErrorDomain that tells why this request cannot be sent, if it cannot.
  std::optional<int> refusal() const;
  // Null when memory ran out.
  CURL* handle() const { return isConfigured_ ? handle_ : nullptr; }
  const std::shared_ptr<NSURLSessionDataTask>& task() const { return task_; }

  // When the request times out: unless a byte comes or goes before, and in any case when the answer has taken
  // too long as a whole.
  Clock::time_point deadline() const;

  // Ends the task by libcurl's verdict. The handle must be out of the multi handle by then.
  void finish(CURLcode code);
  // Ends the task with an error of NSURLErrorDomain.
  void fail(int code);
  // The same for a task that has no transfer.
  static void fail(NSURLSessionDataTask& task, int code, std::string_view detail = {});
  // Ends the task with an answer of our own that has nothing but a status.
  void answer(int status);

 private:
  void configure();
  template <class Option>
  void set(CURLoption which, Option value);
  void addHeader(const char* line);
  void configureMethod();
  void configureHeaders();
  void configureConnection();

  static std::size_t receivedHeader(char* bytes, std::size_t size, std::size_t count, void* self);
  static std::size_t receivedBody(char* bytes, std::size_t size, std::size_t count, void* self);
  static int progressed(void* self, curl_off_t, curl_off_t received, curl_off_t, curl_off_t sent);
  bool appendHeader(std::string_view line);
  bool appendBody(std::string_view bytes);
  bool keepBody(std::string_view bytes);
  void noteAnswer();

  int errorCode(CURLcode code) const;
  bool wasSentWithoutQuery() const;
  long info(CURLINFO which) const;
  std::shared_ptr<NSURLResponse> makeResponse() const;

  const Libcurl& libcurl_;
  const std::shared_ptr<NSURLSessionDataTask> task_;
  CURL* const handle_;
  bool isConfigured_ = true;  // there was memory for all of it
  curl_slist* requestHeaders_ = nullptr;
  char detail_[CURL_ERROR_SIZE] = {};

  std::vector<HTTPHeaderField> headers_;
  std::size_t headerBytes_ = 0;
  std::string body_;
  bool bodyTooLong_ = false;
  std::size_t bytesNobodyReads_ = 0;
  bool readEnough_ = false;

  Clock::time_point lastActivity_ = Clock::now();
  Clock::time_point lastSent_ = lastActivity_;
  std::optional<Clock::time_point> answerBegan_;
  curl_off_t bytesReceived_ = 0;
  curl_off_t bytesSent_ = 0;
};

}  // namespace platform
