#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "platform/foundation/NSError.h"
#include "platform/foundation/NSURL.h"
#include "platform/net/NSURLRequest.h"
#include "platform/net/NSURLResponse.h"
#include "platform/net/NSURLSessionConfiguration.h"
#include "platform/net/NSURLSessionDataTask.h"
#include "platform/net/NSURLSessionWebSocketTask.h"

namespace platform {

class DispatchQueue;

// Makes tasks that load URLs, and names the queue on which their completions run: a serial queue of the
// session, never the main thread. A session may be dropped at any time: its tasks hold what they need.
// Thread-safe.
//
// HTTP and HTTPS. Certificates are verified, redirects followed, connections kept for later requests. There
// is no cache of responses and there are no cookies.
class NSURLSession {
 public:
  using Completion = NSURLSessionDataTask::Completion;

  // The session of the whole process, of the default configuration; never destroyed.
  static NSURLSession& sharedSession();

  // Is told of each request of the process that is handed to the network, on the thread that does so. Null
  // for nobody, as it is unless set.
  using Observer = void (*)(const NSURLRequest& request);
  static void setObserver(Observer observer);

  explicit NSURLSession(NSURLSessionConfiguration configuration);
  NSURLSession(const NSURLSession&) = delete;
  NSURLSession& operator=(const NSURLSession&) = delete;

  const NSURLSessionConfiguration& configuration() const { return *configuration_; }

  // A GET. The task is suspended; without a completion its outcome is ignored.
  std::shared_ptr<NSURLSessionDataTask> dataTask(const NSURL& url, Completion completion = {});
  std::shared_ptr<NSURLSessionDataTask> dataTask(const NSURLRequest& request, Completion completion = {});

  // A WebSocket to a URL of scheme ws or wss, with the request's headers in its upgrade; the request's
  // timeout bounds connecting and upgrading, in seconds. The task is suspended; there is none, and a line of
  // log, while the process lacks descriptors or threads for the first one.
  std::shared_ptr<NSURLSessionWebSocketTask> webSocketTask(const NSURLRequest& request);

 private:
  std::shared_ptr<const NSURLSessionConfiguration> configuration_;
  std::shared_ptr<DispatchQueue> queue_;
};

}  // namespace platform
