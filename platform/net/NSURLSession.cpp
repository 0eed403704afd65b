#include "platform/net/NSURLSession.h"

#include <utility>

#include "platform/dispatch/DispatchQueue.h"
#include "platform/dispatch/Scheduler.h"
#include "platform/foundation/internal/OpenSSLUse.h"
#include "platform/net/WebSockets.h"

namespace platform {
namespace {

std::shared_ptr<DispatchQueue> makeCompletionQueue() {
  return Scheduler::current().makeSerialQueue("NSURLSession", QualityOfService::Utility);
}

// A session for a single request would be a thread for a single request, so these share one queue.
std::shared_ptr<DispatchQueue> ephemeralSessionsQueue() {
  static const std::shared_ptr<DispatchQueue>& queue =
      *new std::shared_ptr<DispatchQueue>(makeCompletionQueue());
  return queue;
}

}  // namespace

NSURLSession& NSURLSession::sharedSession() {
  static NSURLSession& session = *new NSURLSession(NSURLSessionConfiguration::defaultConfiguration());
  return session;
}

void NSURLSession::setObserver(Observer observer) { NSURLSessionDataTask::observer = observer; }

NSURLSession::NSURLSession(NSURLSessionConfiguration configuration)
    : configuration_(std::make_shared<const NSURLSessionConfiguration>(std::move(configuration))),
      queue_(configuration_->keepsConnections ? makeCompletionQueue() : ephemeralSessionsQueue()) {
  OpenSSLUse::prepareForExit();
  // Begins the queue's thread, so that a system that gives none is noticed by whoever makes the session.
  queue_->async([] {});
}

std::shared_ptr<NSURLSessionDataTask> NSURLSession::dataTask(const NSURL& url, Completion completion) {
  return dataTask(NSURLRequest(url), std::move(completion));
}

std::shared_ptr<NSURLSessionDataTask> NSURLSession::dataTask(const NSURLRequest& request,
                                                             Completion completion) {
  return std::make_shared<NSURLSessionDataTask>(request, configuration_, queue_, std::move(completion));
}

std::shared_ptr<NSURLSessionWebSocketTask> NSURLSession::webSocketTask(const NSURLRequest& request) {
  WebSockets* const sockets = WebSockets::available();
  return sockets ? sockets->makeTask(request, configuration_, queue_) : nullptr;
}

}  // namespace platform
