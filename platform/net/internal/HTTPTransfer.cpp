#include "platform/net/internal/HTTPTransfer.h"

#include <strings.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <exception>
#include <iterator>
#include <utility>

#include "platform/foundation/ASCII.h"
#include "platform/net/NSHTTPURLResponse.h"
#include "platform/net/NSURLError.h"
#include "platform/net/NetworkReachability.h"
#include "platform/net/internal/Timeout.h"

namespace platform {
namespace {

constexpr long kMaximumRedirects = 16;
constexpr std::size_t kMaximumHeaderBytes = 256u << 10;
// A server's announced length is believed up to this size when memory is set aside for a body.
constexpr curl_off_t kLargestReserve = 1 << 20;
constexpr const char* kProtocols = "http,https";
// At most so much is read of a body that nobody looks at; a connection that is given up would cost more.
constexpr std::size_t kLongestUnreadBody = 1u << 20;
// The longest head of a request that libcurl composes. Over TLS it stalls in one that is larger than twice
// its upload buffer, which is 64 KiB unless set.
constexpr long kLongestHead = 1L << 20;
// A longer URL does not fit into the header frame of HTTP/2.
constexpr std::size_t kLongestURLOfHTTP2 = 32u << 10;

// What libcurl's verdict is for the host; where more than the verdict decides, see errorCode().
constexpr std::pair<CURLcode, int> kErrorCodes[] = {
    {CURLE_URL_MALFORMAT, NSURLErrorBadURL},
    {CURLE_OPERATION_TIMEDOUT, NSURLErrorTimedOut},
    {CURLE_GOT_NOTHING, NSURLErrorNetworkConnectionLost},
    {CURLE_SEND_ERROR, NSURLErrorNetworkConnectionLost},
    {CURLE_RECV_ERROR, NSURLErrorNetworkConnectionLost},
    {CURLE_PARTIAL_FILE, NSURLErrorNetworkConnectionLost},
    {CURLE_HTTP2, NSURLErrorNetworkConnectionLost},
    {CURLE_HTTP2_STREAM, NSURLErrorNetworkConnectionLost},
    {CURLE_TOO_MANY_REDIRECTS, NSURLErrorHTTPTooManyRedirects},
    {CURLE_WEIRD_SERVER_REPLY, NSURLErrorBadServerResponse},
    {CURLE_BAD_CONTENT_ENCODING, NSURLErrorCannotDecodeContentData},
    {CURLE_FILESIZE_EXCEEDED, NSURLErrorDataLengthExceedsMaximum},
    {CURLE_PEER_FAILED_VERIFICATION, NSURLErrorServerCertificateUntrusted},
    {CURLE_SSL_ISSUER_ERROR, NSURLErrorServerCertificateUntrusted},
    {CURLE_SSL_INVALIDCERTSTATUS, NSURLErrorServerCertificateUntrusted},
    {CURLE_SSL_CONNECT_ERROR, NSURLErrorSecureConnectionFailed},
    {CURLE_SSL_CERTPROBLEM, NSURLErrorSecureConnectionFailed},
    {CURLE_SSL_CIPHER, NSURLErrorSecureConnectionFailed},
    {CURLE_SSL_CACERT_BADFILE, NSURLErrorSecureConnectionFailed},
    {CURLE_SSL_ENGINE_INITFAILED, NSURLErrorSecureConnectionFailed},
    {CURLE_USE_SSL_FAILED, NSURLErrorSecureConnectionFailed},
};

// What libcurl is told by a function that takes bytes; 0 ends the transfer. No exception may pass through
// libcurl.
template <class Take>
std::size_t taken(std::size_t size, Take take) {
  try {
    return take() ? size : 0;
  } catch (const std::exception&) {
    return 0;
  }
}

}  // namespace

HTTPTransfer::HTTPTransfer(const Libcurl& libcurl, std::shared_ptr<NSURLSessionDataTask> task)
    : libcurl_(libcurl), task_(std::move(task)), handle_(libcurl.easy_init()) {
  if (handle_) configure();
}

HTTPTransfer::~HTTPTransfer() {
  libcurl_.easy_cleanup(handle_);
  libcurl_.slist_free_all(requestHeaders_);
}

std::optional<int> HTTPTransfer::refusal() const {
  const auto& scheme = task_->originalRequest().url().scheme();
  if (scheme != "http" && scheme != "https") return NSURLErrorUnsupportedURL;
  if (!isHTTPToken(task_->originalRequest().httpMethod())) return NSURLErrorUnknown;
  return std::nullopt;
}

// An option that had no memory would be one of another request.
template <class Option>
void HTTPTransfer::set(CURLoption which, Option value) {
  if (libcurl_.easy_setopt(handle_, which, value) == CURLE_OUT_OF_MEMORY) isConfigured_ = false;
}

void HTTPTransfer::addHeader(const char* line) {
  curl_slist* const longer = libcurl_.slist_append(requestHeaders_, line);
  isConfigured_ = isConfigured_ && longer;
  if (longer) requestHeaders_ = longer;
}

void HTTPTransfer::configure() {
  set(CURLOPT_PRIVATE, this);
  set(CURLOPT_URL, task_->originalRequest().url().absoluteString().c_str());
  set(CURLOPT_ERRORBUFFER, detail_);
  configureMethod();
  configureHeaders();
  configureConnection();

  set(CURLOPT_HEADERFUNCTION, &receivedHeader);
  set(CURLOPT_HEADERDATA, this);
  set(CURLOPT_WRITEFUNCTION, &receivedBody);
  set(CURLOPT_WRITEDATA, this);
  set(CURLOPT_NOPROGRESS, 0L);
  set(CURLOPT_XFERINFOFUNCTION, &progressed);
  set(CURLOPT_XFERINFODATA, this);
}

void HTTPTransfer::configureMethod() {
  const NSURLRequest& request = task_->originalRequest();
  const std::string& method = request.httpMethod();
  const std::string* body = request.httpBody().get();
  if (body || method == "POST") {
    set(CURLOPT_POST, 1L);
    set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body ? body->size() : 0));
    // Not copied: the task holds it.
    set(CURLOPT_POSTFIELDS, body ? body->data() : "");
    if (method != "POST") set(CURLOPT_CUSTOMREQUEST, method.c_str());
  } else if (method == "HEAD") {
    set(CURLOPT_NOBODY, 1L);
  } else if (method != "GET") {
    set(CURLOPT_CUSTOMREQUEST, method.c_str());
  }
}

void HTTPTransfer::configureHeaders() {
  for (const HTTPHeaderField& field : task_->originalRequest().allHTTPHeaderFields()) {
    // libcurl writes the length that it sends.
    if (!isSendableHTTPHeaderField(field) || strcasecmp(field.first.c_str(), "Content-Length") == 0) continue;
    const std::string line = field.second.empty() ? field.first + ";" : field.first + ": " + field.second;
    addHeader(line.c_str());
  }
  // A body is sent at once, without asking the server first.
  addHeader("Expect:");
  set(CURLOPT_HTTPHEADER, requestHeaders_);
  set(CURLOPT_ACCEPT_ENCODING, "");
}

void HTTPTransfer::configureConnection() {
  const NSURLSessionConfiguration& configuration = task_->configuration();
  set(CURLOPT_PROTOCOLS_STR, kProtocols);
  // What was asked for in secret is not asked for again in the clear.
  const bool isSecure = task_->originalRequest().url().scheme() == "https";
  set(CURLOPT_REDIR_PROTOCOLS_STR, isSecure ? "https" : kProtocols);
  set(CURLOPT_FOLLOWLOCATION, 1L);
  set(CURLOPT_MAXREDIRS, kMaximumRedirects);
  if (configuration.keepsResponseBodies) {
    set(CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(configuration.maximumResponseBodySize));
  }
  if (!configuration.followsEnvironmentProxy) set(CURLOPT_PROXY, "");
  if (task_->originalRequest().url().absoluteString().size() > kLongestURLOfHTTP2) {
    set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
    set(CURLOPT_UPLOAD_BUFFERSIZE, kLongestHead);
  }
  set(CURLOPT_NOSIGNAL, 1L);
  // A look-up of a name that is given up goes on in its own thread; nobody waits for it.
  set(CURLOPT_QUICK_EXIT, 1L);
  // Timeouts are ours: see deadline().
  set(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(INT_MAX));
  if (!configuration.certificateAuthorityFile.empty()) {
    set(CURLOPT_CAINFO, configuration.certificateAuthorityFile.c_str());
    set(CURLOPT_CAPATH, nullptr);
  }
  if (!configuration.keepsConnections) {
    set(CURLOPT_FRESH_CONNECT, 1L);
    set(CURLOPT_FORBID_REUSE, 1L);
    set(CURLOPT_SSL_SESSIONID_CACHE, 0L);
  }
}

HTTPTransfer::Clock::time_point HTTPTransfer::deadline() const {
  const double timeout = task_->originalRequest().timeoutInterval();
  const Clock::time_point silence = lastActivity_ + timeoutOf(timeout);
  if (!answerBegan_) return silence;
  const double longest = std::max(timeout, task_->configuration().timeoutIntervalForAnswer);
  return std::min(silence, std::max(*answerBegan_, lastSent_) + timeoutOf(longest));
}

std::size_t HTTPTransfer::receivedHeader(char* bytes, std::size_t size, std::size_t count, void* self) {
  return taken(size * count, [&] {
    return static_cast<HTTPTransfer*>(self)->appendHeader({bytes, size * count});
  });
}

std::size_t HTTPTransfer::receivedBody(char* bytes, std::size_t size, std::size_t count, void* self) {
  return taken(size * count, [&] {
    return static_cast<HTTPTransfer*>(self)->appendBody({bytes, size * count});
  });
}

int HTTPTransfer::progressed(void* self, curl_off_t, curl_off_t received, curl_off_t, curl_off_t sent) {
  auto& transfer = *static_cast<HTTPTransfer*>(self);
  const bool hasSent = sent != transfer.bytesSent_;
  if (!hasSent && received == transfer.bytesReceived_) return 0;
  transfer.bytesSent_ = sent;
  transfer.bytesReceived_ = received;
  transfer.lastActivity_ = Clock::now();
  if (hasSent) transfer.lastSent_ = transfer.lastActivity_;
  return 0;
}

void HTTPTransfer::noteAnswer() {
  lastActivity_ = Clock::now();
  if (!answerBegan_) answerBegan_ = lastActivity_;
}

bool HTTPTransfer::appendHeader(std::string_view line) {
  noteAnswer();
  headerBytes_ += line.size();
  if (headerBytes_ > kMaximumHeaderBytes) return false;
  if (line.starts_with("HTTP/")) {
    // Of interim answers and of redirects only the last head counts.
    headers_.clear();
    body_.clear();
    return true;
  }
  const std::size_t colon = line.find(':');
  if (colon == std::string_view::npos) return true;
  headers_.emplace_back(trimmingASCIIBlanks(line.substr(0, colon)),
                        trimmingASCIIBlanks(line.substr(colon + 1)));
  return true;
}

bool HTTPTransfer::appendBody(std::string_view bytes) {
  noteAnswer();
  if (task_->configuration().keepsResponseBodies) return keepBody(bytes);
  bytesNobodyReads_ += bytes.size();
  readEnough_ = bytesNobodyReads_ > kLongestUnreadBody;
  return !readEnough_;
}

bool HTTPTransfer::keepBody(std::string_view bytes) {
  if (bytes.size() > task_->configuration().maximumResponseBodySize - body_.size()) {
    bodyTooLong_ = true;
    return false;
  }
  if (body_.empty()) {
    curl_off_t announced = 0;
    libcurl_.easy_getinfo(handle_, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &announced);
    body_.reserve(static_cast<std::size_t>(std::clamp<curl_off_t>(announced, 0, kLargestReserve)));
  }
  body_.append(bytes);
  return true;
}

// libcurl sends a request without its query when it has no memory for that; the server's answer is to
// another one then. By HTTP/1 the target is sent as text. Of a long one a server may refuse the rest unread.
bool HTTPTransfer::wasSentWithoutQuery() const {
  const long version = info(CURLINFO_HTTP_VERSION);
  if (version != CURL_HTTP_VERSION_1_0 && version != CURL_HTTP_VERSION_1_1) return false;
  constexpr std::size_t kSurelySent = 4096;
  const NSURL& url = task_->originalRequest().url();
  const std::string none;
  const std::size_t least =
      url.host().value_or(none).size() + url.path().size() + url.query().value_or(none).size();
  return url.query() && info(CURLINFO_REQUEST_SIZE) < static_cast<long>(std::min(least, kSurelySent));
}

void HTTPTransfer::finish(CURLcode code) {
  if (code == CURLE_OK && wasSentWithoutQuery()) code = CURLE_OUT_OF_MEMORY;
  if (code == CURLE_OK || (code == CURLE_WRITE_ERROR && readEnough_)) {
    task_->complete({}, std::make_shared<const std::string>(std::move(body_)), makeResponse(), std::nullopt);
    return;
  }
  const std::string_view detail = detail_[0] != '\0' ? detail_ : libcurl_.easy_strerror(code);
  task_->complete({}, nullptr, makeResponse(),
                  makeURLError(errorCode(code), task_->originalRequest().url(), detail));
}

void HTTPTransfer::fail(int code) {
  task_->complete({}, nullptr, makeResponse(), makeURLError(code, task_->originalRequest().url()));
}

void HTTPTransfer::fail(NSURLSessionDataTask& task, int code, std::string_view detail) {
  task.complete({}, nullptr, nullptr, makeURLError(code, task.originalRequest().url(), detail));
}

void HTTPTransfer::answer(int status) {
  const NSURL& url = task_->originalRequest().url();
  task_->complete({}, std::make_shared<const std::string>(),
                  std::make_shared<NSHTTPURLResponse>(url, status, std::vector<HTTPHeaderField>()),
                  std::nullopt);
}

int HTTPTransfer::errorCode(CURLcode code) const {
  switch (code) {
    case CURLE_UNSUPPORTED_PROTOCOL:
      // Also what libcurl calls an answer without a head.
      return info(CURLINFO_RESPONSE_CODE) == 0 ? NSURLErrorBadServerResponse : NSURLErrorUnsupportedURL;
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY:
      return NetworkReachability::isOffline() ? NSURLErrorNotConnectedToInternet : NSURLErrorCannotFindHost;
    case CURLE_COULDNT_CONNECT:
      return info(CURLINFO_OS_ERRNO) == ENETUNREACH ? NSURLErrorNotConnectedToInternet
                                                    : NSURLErrorCannotConnectToHost;
    case CURLE_WRITE_ERROR:
      return bodyTooLong_ ? NSURLErrorDataLengthExceedsMaximum : NSURLErrorBadServerResponse;
    default:
      break;
  }
  const auto meant = std::ranges::find(kErrorCodes, code, &std::pair<CURLcode, int>::first);
  return meant == std::end(kErrorCodes) ? NSURLErrorUnknown : meant->second;
}

long HTTPTransfer::info(CURLINFO which) const {
  long value = 0;
  libcurl_.easy_getinfo(handle_, which, &value);
  return value;
}

// Null before the head of an answer has come.
std::shared_ptr<NSURLResponse> HTTPTransfer::makeResponse() const {
  const long status = handle_ ? info(CURLINFO_RESPONSE_CODE) : 0;
  if (status == 0) return nullptr;
  std::optional<NSURL> url;
  if (info(CURLINFO_REDIRECT_COUNT) > 0) {
    char* effective = nullptr;
    libcurl_.easy_getinfo(handle_, CURLINFO_EFFECTIVE_URL, &effective);
    if (effective) url = NSURL::create(effective);
  }
  return std::make_shared<NSHTTPURLResponse>(url.value_or(task_->originalRequest().url()),
                                             static_cast<int>(status), headers_);
}

}  // namespace platform
