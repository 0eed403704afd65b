#pragma once

#include <Kova/KovaURLSessionProtocol.h>

// The platform's shared URL session, seen through the library's seam. One object a process, never destroyed.
class KovaSharedURLSession : public KOVAURLSessionProtocol {
 public:
  static const std::shared_ptr<KOVAURLSessionProtocol>& sharedSession();

  std::shared_ptr<platform::NSURLSessionTask> dataTask(const platform::NSURL& url,
                                                       Completion completion) override;
  std::shared_ptr<platform::NSURLSessionTask> dataTask(const platform::NSURLRequest& request,
                                                       Completion completion) override;
};
