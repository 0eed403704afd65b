#pragma once

#include <QDateTime>
#include <cstddef>
#include <deque>
#include <memory>
#include <string>

#include "platform/net/NSURLRequest.h"
#include "platform/runtime/Mutex.h"

class QWidget;

namespace kovaqt {

// The latest requests of this process, as they were handed to the network, in memory only. Any thread.
class SentData {
 public:
  static constexpr std::size_t kMostRequests = 1000;
  static constexpr std::size_t kMostBytes = 1 << 20;

  struct Request {
    QDateTime time;
    std::string head;                         // "POST http://127.0.0.1:8080/api/track"
    std::shared_ptr<const std::string> body;  // null without one, and for one that is too large to be kept
    std::size_t size = 0;                     // bytes of both, kept or not
  };

  static SentData& shared();

  void add(const platform::NSURLRequest& request);
  void clear();
  // Oldest first.
  std::deque<Request> requests() const;

 private:
  static std::size_t keptBytes(const Request& request);

  mutable platform::Mutex mutex_;
  std::deque<Request> requests_ PLATFORM_GUARDED_BY(mutex_);
  std::size_t bytes_ PLATFORM_GUARDED_BY(mutex_) = 0;
};

// Main thread.
void showSentData(QWidget* parent);

}  // namespace kovaqt
