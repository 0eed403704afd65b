#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <memory>
#include <optional>
#include <string>

#include "platform/dispatch/Scheduler.h"
#include "platform/net/NSHTTPURLResponse.h"
#include "platform/net/NSURLError.h"
#include "platform/net/NSURLSession.h"
#include "platform/net/NetworkReachability.h"
#include "tests/support/HttpServer.h"

// A loopback server, sessions, and the outcome of a request as one value.
class NetTest : public testing::Test {
 protected:
  using Task = std::shared_ptr<platform::NSURLSessionDataTask>;

  struct Outcome {
    std::shared_ptr<const std::string> data;
    std::shared_ptr<platform::NSHTTPURLResponse> response;
    std::optional<platform::NSError> error;
    bool onMainThread = false;

    std::string body() const { return data ? *data : "(no data)"; }
    int status() const { return response ? response->statusCode() : 0; }
    int code() const { return error ? error->code() : 0; }
  };

  // A task and what is going to come of it.
  class Load {
   public:
    Load(platform::NSURLSession& session, const platform::NSURLRequest& request)
        : promise_(std::make_shared<std::promise<Outcome>>()), future_(promise_->get_future()) {
      task = session.dataTask(request, [promise = promise_](auto data, auto response, auto error) {
        promise->set_value({std::move(data), std::dynamic_pointer_cast<platform::NSHTTPURLResponse>(response),
                            std::move(error), platform::Scheduler::current().isMainThread()});
      });
    }
    Outcome outcome() {
      if (future_.wait_for(std::chrono::seconds(30)) != std::future_status::ready) {
        throw std::runtime_error("no completion");
      }
      return future_.get();
    }
    Task task;

   private:
    std::shared_ptr<std::promise<Outcome>> promise_;
    std::future<Outcome> future_;
  };

  static void SetUpTestSuite() {
    using platform::NetworkReachability;
    NetworkReachability::installFlagSource(
        [](const NetworkReachability::Target&) { return platform::kNetworkReachabilityFlagsReachable; });
  }

  static platform::NSURLRequest get(const std::string& url, double timeout = 20) {
    return platform::NSURLRequest(platform::NSURL::create(url).value(),
                                  platform::NSURLRequestCachePolicy::useProtocolCachePolicy, timeout);
  }
  static platform::NSURLRequest post(const std::string& url, std::string body, double timeout = 20) {
    platform::NSURLRequest request = get(url, timeout);
    request.setHTTPMethod("POST");
    request.setHTTPBody(std::make_shared<const std::string>(std::move(body)));
    return request;
  }

  Load start(const platform::NSURLRequest& request) { return start(session, request); }
  static Load start(platform::NSURLSession& session, const platform::NSURLRequest& request) {
    Load load(session, request);
    load.task->resume();
    return load;
  }
  Outcome load(const platform::NSURLRequest& request) { return start(request).outcome(); }

  HttpServer server;
  platform::NSURLSession session{platform::NSURLSessionConfiguration::defaultConfiguration()};
};
