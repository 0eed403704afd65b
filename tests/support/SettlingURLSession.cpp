#include "tests/support/SettlingURLSession.h"

#include <utility>

#include "src/storage/KovaSharedURLSession.h"

using namespace platform;

std::shared_ptr<NSURLSessionTask> SettlingURLSession::dataTask(const NSURL& url, Completion completion) {
  return KovaSharedURLSession::sharedSession()->dataTask(url, counted(std::move(completion)));
}

std::shared_ptr<NSURLSessionTask> SettlingURLSession::dataTask(const NSURLRequest& request,
                                                               Completion completion) {
  return KovaSharedURLSession::sharedSession()->dataTask(request, counted(std::move(completion)));
}

SettlingURLSession::Completion SettlingURLSession::counted(Completion completion) {
  ++*tasksInFlight_;
  return [tasksInFlight = tasksInFlight_, completion = std::move(completion)](auto data, auto response,
                                                                              auto error) {
    completion(std::move(data), std::move(response), std::move(error));
    --*tasksInFlight;
  };
}
