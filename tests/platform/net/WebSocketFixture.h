#pragma once

#include "tests/platform/net/NetFixture.h"
#include "tests/support/WebSocketServer.h"

using Message = platform::NSURLSessionWebSocketMessage;
using Peer = WebSocketServer::Peer;
using Opcode = WebSocketServer::Opcode;
using Part = WebSocketServer::Part;
using State = platform::NSURLSessionTask::State;

struct Received {
  std::optional<Message> message;
  std::optional<platform::NSError> error;
  bool onMainThread = false;

  std::string bytes() const { return message ? message->bytes() : "(no message)"; }
  int code() const { return error ? error->code() : 0; }
};

// A task whose completions are futures; a completion that is called twice is an exception of its promise, and
// so a line of log.
class Socket {
 public:
  Socket(platform::NSURLSession& session, const platform::NSURLRequest& request)
      : task(session.webSocketTask(request)) {}

  std::future<Received> asksForMessage() {
    auto promise = std::make_shared<std::promise<Received>>();
    task->receiveMessage([promise](std::optional<Message> message, std::optional<platform::NSError> error) {
      promise->set_value(
          {std::move(message), std::move(error), platform::Scheduler::current().isMainThread()});
    });
    return promise->get_future();
  }
  std::future<int> sends(Message message) {
    auto promise = std::make_shared<std::promise<int>>();
    task->sendMessage(std::move(message), [promise](std::optional<platform::NSError> error) {
      promise->set_value(error ? error->code() : 0);
    });
    return promise->get_future();
  }
  Received receive() { return resultOf(asksForMessage()); }
  int send(Message message) { return resultOf(sends(std::move(message))); }
  int sendText(std::string text) { return send(Message::withString(std::move(text))); }
  int status() const {
    const auto response = std::dynamic_pointer_cast<platform::NSHTTPURLResponse>(task->response());
    return response ? response->statusCode() : 0;
  }

  std::shared_ptr<platform::NSURLSessionWebSocketTask> task;
};

class WebSocketFixture : public SessionTest {
 protected:
  Socket open(const platform::NSURLRequest& request) { return open(session, request); }
  Socket open(const std::string& url) { return open(get(url)); }
  static Socket open(platform::NSURLSession& session, const platform::NSURLRequest& request) {
    Socket socket(session, request);
    socket.task->resume();
    return socket;
  }
};
