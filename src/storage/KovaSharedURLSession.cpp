#include "src/storage/KovaSharedURLSession.h"

using namespace platform;

namespace {

using Session = std::shared_ptr<KOVAURLSessionProtocol>;

NSURLSessionConfiguration configurationFor(KovaProxy proxy) {
  auto configuration = NSURLSessionConfiguration::defaultConfiguration();
  configuration.keepsResponseBodies = false;
  configuration.followsEnvironmentProxy = proxy == KovaProxy::OfTheEnvironment;
  return configuration;
}

}  // namespace

const Session& KovaSharedURLSession::sharedSession(KovaProxy proxy) {
  if (proxy == KovaProxy::OfTheEnvironment) {
    static const auto& following = *new Session(std::make_shared<KovaSharedURLSession>(proxy));
    return following;
  }
  static const auto& direct = *new Session(std::make_shared<KovaSharedURLSession>(proxy));
  return direct;
}

KovaSharedURLSession::KovaSharedURLSession(KovaProxy proxy) : session_(configurationFor(proxy)) {}

std::shared_ptr<NSURLSessionTask> KovaSharedURLSession::dataTask(const NSURL& url, Completion completion) {
  return session_.dataTask(url, std::move(completion));
}

std::shared_ptr<NSURLSessionTask> KovaSharedURLSession::dataTask(const NSURLRequest& request,
                                                                 Completion completion) {
  return session_.dataTask(request, std::move(completion));
}
