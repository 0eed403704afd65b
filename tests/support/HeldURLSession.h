#pragma once

#include <Kova/KovaURLSessionProtocol.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/net/NSHTTPURLResponse.h"
#include "platform/net/NSURLError.h"
#include "platform/net/NSURLRequest.h"
#include "platform/net/NSURLSessionTask.h"

// A session whose requests stay open until the test ends them.
class HeldURLSession : public KOVAURLSessionProtocol {
 public:
  struct Open {
    platform::NSURLRequest request;
    Completion completion;

    // Method, URL and, if there is one, body.
    std::string text() const {
      const auto& body = request.httpBody();
      return request.httpMethod() + " " + request.url().absoluteString() + (body ? " " + *body : "");
    }
    void answer(int status) const {
      completion({},
                 std::make_shared<platform::NSHTTPURLResponse>(request.url(), status,
                                                               std::vector<platform::HTTPHeaderField>()),
                 {});
    }
    void fail(const platform::NSError& error) const { completion({}, nullptr, error); }
    void fail() const {
      fail(platform::makeURLError(platform::NSURLErrorNetworkConnectionLost, request.url()));
    }
  };

  std::shared_ptr<platform::NSURLSessionTask> dataTask(const platform::NSURL& url,
                                                       Completion completion) override {
    return dataTask(platform::NSURLRequest(url), std::move(completion));
  }
  std::shared_ptr<platform::NSURLSessionTask> dataTask(const platform::NSURLRequest& request,
                                                       Completion completion) override {
    return std::make_shared<Task>(open, Open{request, std::move(completion)});
  }
  // Nobody holds them any more.
  std::vector<Open> takeOpen() { return std::exchange(open, {}); }

  std::vector<Open> open;  // in the order in which they were made

 private:
  class Task : public platform::NSURLSessionTask {
   public:
    Task(std::vector<Open>& open, Open self) : open_(open), self_(std::move(self)) {}
    void resume() override { open_.push_back(self_); }
    void cancel() override {}
    State state() const override { return State::running; }

   private:
    std::vector<Open>& open_;
    const Open self_;
  };
};
