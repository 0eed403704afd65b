#pragma once

#include <string>
#include <string_view>
#include <utility>

namespace platform {

// One whole message of a WebSocket. A value; the bytes of a text are UTF-8.
class NSURLSessionWebSocketMessage {
 public:
  enum class Type { data, string };

  static NSURLSessionWebSocketMessage withData(std::string bytes) { return {Type::data, std::move(bytes)}; }
  static NSURLSessionWebSocketMessage withString(std::string text) { return {Type::string, std::move(text)}; }

  Type type() const { return type_; }
  const std::string& bytes() const { return bytes_; }

 private:
  NSURLSessionWebSocketMessage(Type type, std::string bytes) : type_(type), bytes_(std::move(bytes)) {}

  Type type_;
  std::string bytes_;
};

}  // namespace platform
