#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <string>

class KIAlertContainerViewController;
class KIPairing;

// The question whether a code is the one in the browser: an alert in a window above the app's.
//
// A question is void without its connection, and taken back when that ends. The window takes every touch of
// the app: it goes whatever happens. What a server may cost: of the requests that wait for the main thread or
// for an alert to go only the newest is kept, and an alert that has taken the place of another stays for two
// seconds, so that it is neither taken away under the user's finger nor fills the app's pageviews.
//
// Owner: the visualizer, by shared pointer. Queued work retains it; an alert that is shown does not.
// Threads: ask() and takeBack() may be called from any, and return at once; all else is the main thread's.
class KIPairingQuestion : public std::enable_shared_from_this<KIPairingQuestion> {
 public:
  struct Request {
    std::string code;
    std::weak_ptr<const KIPairing> pairing;

    bool isVoid() const { return pairing.expired(); }
  };
  enum class Step { Shown, Accepted, Rejected };
  // Told of each step. Main thread.
  using Listener = std::function<void(Step step, const Request& request)>;

  // Failures are reported as the visualizer's.
  explicit KIPairingQuestion(Listener listener);

  void ask(const Request& request);
  // Puts the alert away, unless it is about a connection that is open.
  void takeBack();

 private:
  using ContainerRef = std::shared_ptr<KIAlertContainerViewController>;

  // The newest of the requests that were handed to the main thread.
  class Newest {
   public:
    ~Newest() { take(); }
    // Whether nothing was there before.
    bool put(const Request& request) {
      return !std::unique_ptr<Request>(slot_.exchange(new Request(request)));
    }
    void putUnlessThereIsOne(const Request& request);
    std::unique_ptr<Request> take() { return std::unique_ptr<Request>(slot_.exchange(nullptr)); }

   private:
    std::atomic<Request*> slot_ = nullptr;
  };

  void showNewest();
  void show(const Request& request, const ContainerRef& container);
  void replaceAlert(const Request& request, const ContainerRef& container);
  void requestUserApprovalToPair(const Request& request, const ContainerRef& container);
  bool isOpen() const { return asked_ && !asked_->isVoid(); }
  // Where a person sees it; the one before goes when its scene is gone.
  ContainerRef container();
  // Uncovers the app after the work, unless there is an alert by then, or one on its way.
  template <class Work>
  void guardedOver(const ContainerRef& container, Work work);

  const Listener listener_;
  Newest newest_;

  // Main thread only.
  std::weak_ptr<KIAlertContainerViewController> container_;
  std::optional<Request> asked_;           // that was put up last
  std::optional<Request> afterDismissal_;  // while an alert is being dismissed
  double mayReplaceFrom_ = 0;              // uptime, in seconds
};
