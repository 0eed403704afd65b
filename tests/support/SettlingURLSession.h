#pragma once

#include <Kova/KovaURLSessionProtocol.h>

#include <cstddef>
#include <memory>

#include "platform/net/NSURLRequest.h"
#include "platform/net/NSURLSessionTask.h"

// The shared URL session, and a count of its tasks whose completion has not run yet: a test that waits for it
// to be idle waits for whole chains of requests. Completions have to run on the thread that makes the tasks,
// as they do under the simulated scheduler.
class SettlingURLSession : public KOVAURLSessionProtocol {
 public:
  // True when every completion has run. What those queued has to be drained before this is asked.
  bool isIdle() const { return *tasksInFlight_ == 0; }

  std::shared_ptr<platform::NSURLSessionTask> dataTask(const platform::NSURL& url,
                                                       Completion completion) override;
  std::shared_ptr<platform::NSURLSessionTask> dataTask(const platform::NSURLRequest& request,
                                                       Completion completion) override;
  // None: a test that wants a socket brings its own.
  std::shared_ptr<platform::NSURLSessionWebSocketTask> webSocketTask(const platform::NSURLRequest&) override {
    return nullptr;
  }

 private:
  Completion counted(Completion completion);

  // Shared with completions, which may run after the session is gone.
  std::shared_ptr<std::size_t> tasksInFlight_ = std::make_shared<std::size_t>(0);
};
