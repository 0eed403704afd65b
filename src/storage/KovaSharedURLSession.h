#pragma once

#include <Kova/KovaURLSessionProtocol.h>

enum class KovaProxy { None, OfTheEnvironment };

// The platform's URL session as the library uses it: nobody looks at the bodies of answers. One object a
// process for each kind of proxy, never destroyed.
class KovaSharedURLSession : public KOVAURLSessionProtocol {
 public:
  static const std::shared_ptr<KOVAURLSessionProtocol>& sharedSession(KovaProxy proxy = KovaProxy::None);

  explicit KovaSharedURLSession(KovaProxy proxy);

  std::shared_ptr<platform::NSURLSessionTask> dataTask(const platform::NSURL& url,
                                                       Completion completion) override;
  std::shared_ptr<platform::NSURLSessionTask> dataTask(const platform::NSURLRequest& request,
                                                       Completion completion) override;

 private:
  platform::NSURLSession session_;
};
