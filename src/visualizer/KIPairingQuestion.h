#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "src/core/Threads.h"

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
// ask() and takeBack() may be called from any thread, and return at once.
class KIPairingQuestion : public std::enable_shared_from_this<KIPairingQuestion> {
 public:
  struct Request {
    std::string code;
    std::weak_ptr<const KIPairing> pairing;

    bool isVoid() const { return pairing.expired(); }
  };
  enum class Step { Shown, Accepted, Rejected };
  // Told of each step, on the main thread.
  using Listener = std::function<void(Step step, const Request& request)>;

  // Failures are reported as the visualizer's.
  explicit KIPairingQuestion(Listener listener);

  void ask(const Request& request);
  // Puts the alert away, unless it is about a connection that is open.
  void takeBack();

 private:
  using ContainerRef = std::shared_ptr<KIAlertContainerViewController>;

  // The newest request that was handed to the main thread.
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

  void showNewest() KOVA_ON_MAIN_THREAD;
  void show(const Request& request, const ContainerRef& container) KOVA_ON_MAIN_THREAD;
  void replaceAlert(const Request& request, const ContainerRef& container) KOVA_ON_MAIN_THREAD;
  void requestUserApprovalToPair(const Request& request, const ContainerRef& container) KOVA_ON_MAIN_THREAD;
  bool isOpen() const KOVA_ON_MAIN_THREAD { return asked_ && !asked_->isVoid(); }
  // In a scene that is there: one whose scene is gone is put away, and replaced.
  ContainerRef container() KOVA_ON_MAIN_THREAD;
  // Uncovers the app after the work, unless that ended well and there is an alert by then, or one on its way.
  template <class Work>
  void guardedOver(const ContainerRef& container, Work work) KOVA_ON_MAIN_THREAD;

  const Listener listener_;
  Newest newest_;

  std::weak_ptr<KIAlertContainerViewController> container_ KOVA_OF_MAIN_THREAD;
  std::optional<Request> asked_ KOVA_OF_MAIN_THREAD;           // that was put up last
  std::optional<Request> afterDismissal_ KOVA_OF_MAIN_THREAD;  // while an alert is being dismissed
  double mayReplaceFrom_ KOVA_OF_MAIN_THREAD = 0;              // uptime, in seconds
};
