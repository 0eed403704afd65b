#include "src/storage/KovaSharedURLSession.h"

using namespace platform;

const std::shared_ptr<KOVAURLSessionProtocol>& KovaSharedURLSession::sharedSession() {
  static const auto& session =
      *new std::shared_ptr<KOVAURLSessionProtocol>(std::make_shared<KovaSharedURLSession>());
  return session;
}

std::shared_ptr<NSURLSessionTask> KovaSharedURLSession::dataTask(const NSURL& url, Completion completion) {
  return NSURLSession::sharedSession().dataTask(url, std::move(completion));
}

std::shared_ptr<NSURLSessionTask> KovaSharedURLSession::dataTask(const NSURLRequest& request,
                                                                 Completion completion) {
  return NSURLSession::sharedSession().dataTask(request, std::move(completion));
}
