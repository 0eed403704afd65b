#pragma once

#include <memory>

#include "Kova/KovaExport.h"
#include "platform/net/NSURLSession.h"

// The seam through which all uploads go: the two operations of the platform's URL session that the library
// calls. The completion may be called on any thread, once, and not before resume() of the task.
class KOVA_EXPORT KOVAURLSessionProtocol {
 public:
  using Completion = platform::NSURLSession::Completion;

  virtual ~KOVAURLSessionProtocol() = default;
  // A GET of the URL. Null is allowed for a session that will never answer.
  virtual std::shared_ptr<platform::NSURLSessionTask> dataTask(const platform::NSURL& url,
                                                               Completion completion) = 0;
  virtual std::shared_ptr<platform::NSURLSessionTask> dataTask(const platform::NSURLRequest& request,
                                                               Completion completion) = 0;
};
