#pragma once

#include <memory>

#include "Kova/KovaExport.h"
#include "platform/net/NSURLSession.h"

// The seam through which all traffic goes: the operations of the platform's URL session that the library
// calls. A completion may be called on any thread, once, and not before resume() of the task.
class KOVA_EXPORT KOVAURLSessionProtocol {
 public:
  using Completion = platform::NSURLSession::Completion;

  virtual ~KOVAURLSessionProtocol() = default;
  // A GET of the URL. Null is allowed for a session that will never answer.
  virtual std::shared_ptr<platform::NSURLSessionTask> dataTask(const platform::NSURL& url,
                                                               Completion completion) = 0;
  virtual std::shared_ptr<platform::NSURLSessionTask> dataTask(const platform::NSURLRequest& request,
                                                               Completion completion) = 0;
  // The socket of the Event Visualizer; null is a connection that failed. Unless overridden it is one of the
  // shared session.
  virtual std::shared_ptr<platform::NSURLSessionWebSocketTask> webSocketTask(
      const platform::NSURLRequest& request) {
    return platform::NSURLSession::sharedSession().webSocketTask(request);
  }
};
