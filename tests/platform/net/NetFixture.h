#pragma once

#include <gmock/gmock.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <future>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

#include "platform/dispatch/Scheduler.h"
#include "platform/net/NSHTTPURLResponse.h"
#include "platform/net/NSURLError.h"
#include "platform/net/NSURLSession.h"
#include "platform/net/NetworkReachability.h"
#include "tests/support/HttpServer.h"
#include "tests/support/TestCertificate.h"

// What a task answered, if it did so in time.
template <class Result>
Result resultOf(std::future<Result> future) {
  if (future.wait_for(std::chrono::seconds(30)) != std::future_status::ready) {
    throw std::runtime_error("no completion");
  }
  return future.get();
}

// Of sessions that trust the certificate and no other, from a file that is gone with this.
struct TrustingConfiguration : platform::NSURLSessionConfiguration {
  explicit TrustingConfiguration(const TestCertificate& certificate) {
    certificateAuthorityFile = testing::TempDir() + "/trusted-" + std::to_string(getpid()) + ".pem";
    certificate.writeTo(certificateAuthorityFile);
  }
  ~TrustingConfiguration() { std::filesystem::remove(certificateAuthorityFile); }
  TrustingConfiguration(const TrustingConfiguration&) = delete;
  TrustingConfiguration& operator=(const TrustingConfiguration&) = delete;
};

class SessionTest : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    using platform::NetworkReachability;
    NetworkReachability::installFlagSource(
        [](const NetworkReachability::Target&) { return platform::kNetworkReachabilityFlagsReachable; });
  }

  static platform::NSURLRequest get(const std::string& url, double timeout = 20) {
    return platform::NSURLRequest(platform::NSURL::create(url).value(),
                                  platform::NSURLRequestCachePolicy::useProtocolCachePolicy, timeout);
  }

  platform::NSURLSession session{platform::NSURLSessionConfiguration::defaultConfiguration()};
};

// A loopback server, and the outcome of a request as one value.
class NetTest : public SessionTest {
 protected:
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
    Load(platform::NSURLSession& session, const platform::NSURLRequest& request) {
      auto promise = std::make_shared<std::promise<Outcome>>();
      future_ = promise->get_future();
      task = session.dataTask(request, [promise](auto data, auto response, auto error) {
        promise->set_value({std::move(data), std::dynamic_pointer_cast<platform::NSHTTPURLResponse>(response),
                            std::move(error), platform::Scheduler::current().isMainThread()});
      });
    }
    Outcome outcome() { return resultOf(std::move(future_)); }

    std::shared_ptr<platform::NSURLSessionDataTask> task;

   private:
    std::future<Outcome> future_;
  };

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

  // A URL of the server, "/1" and so on, that has this answer.
  std::string answering(const HttpServer::Reply& reply) {
    const std::string path = "/" + std::to_string(++answers_);
    server.handle(path, [reply](const HttpServer::Request&) { return reply; });
    return server.url(path);
  }

  HttpServer server;

 private:
  int answers_ = 0;
};
