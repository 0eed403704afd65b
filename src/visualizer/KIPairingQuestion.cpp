#include "src/visualizer/KIPairingQuestion.h"

#include <utility>

#include "platform/dispatch/Scheduler.h"
#include "platform/foundation/Format.h"
#include "platform/uikit/UIAlertController.h"
#include "src/core/KovaTimer.h"
#include "src/core/NSOperationQueue+SafeOperation.h"
#include "src/visualizer/KIAlertContainerViewController.h"

using namespace platform;

namespace {

// Reports name the class that asks.
constexpr kova::Place kAsked("KovaEventVisualizer", "pairWasRequestedWithPairCode:andConnection:");
constexpr kova::Place kAnswered("KovaEventVisualizer",
                                "_requestUserApprovalToPairWithCode:alertContainer:andConnection:");
constexpr double kShortestTimeBetweenReplacements = 2.0;  // seconds

// Also when the library has bailed meanwhile.
void uncoverTheApp(KIAlertContainerViewController& container) KOVA_ON_MAIN_THREAD {
  kova::guarded(
      {container, "removeAndRestorePrevious"},
      [&container] {
        kova::mainThread.isHere();
        container.removeAndRestorePrevious();
      },
      kova::OnException::Bail, kova::WhenBailed::RunAnyway);
}

}  // namespace

void KIPairingQuestion::Newest::putUnlessThereIsOne(const Request& request) {
  auto given = std::make_unique<Request>(request);
  Request* none = nullptr;
  if (slot_.compare_exchange_strong(none, given.get())) static_cast<void>(given.release());
}

KIPairingQuestion::KIPairingQuestion(Listener listener) : listener_(std::move(listener)) {}

void KIPairingQuestion::ask(const Request& request) {
  if (!newest_.put(request)) return;
  KOVA_addSafeOperationWithBlock(
      *NSOperationQueue::mainQueue(),
      [self = shared_from_this()] {
        kova::mainThread.isHere();
        self->showNewest();
      },
      kAsked);
}

template <class Work>
void KIPairingQuestion::guardedOver(const ContainerRef& container, Work work) {
  bool isDone = false;
  kova::guarded(kAsked, [&] {
    kova::mainThread.isHere();
    work();
    isDone = true;
  });
  if (!isDone) afterDismissal_.reset();
  if (!isDone || (!afterDismissal_ && !container->presentedViewController())) uncoverTheApp(*container);
}

void KIPairingQuestion::showNewest() {
  const auto request = newest_.take();
  if (!request || request->isVoid()) return;
  const ContainerRef shownIn = container();
  guardedOver(shownIn, [&]() KOVA_ON_MAIN_THREAD { show(*request, shownIn); });
}

void KIPairingQuestion::show(const Request& request, const ContainerRef& container) {
  container->moveToTop();
  if (afterDismissal_) {
    afterDismissal_ = request;
  } else if (!container->presentedViewController()) {
    requestUserApprovalToPair(request, container);
  } else if (!isOpen() || asked_->code != request.code) {
    replaceAlert(request, container);
  }
}

void KIPairingQuestion::replaceAlert(const Request& request, const ContainerRef& container) {
  const double now = Scheduler::current().uptime();
  if (now < mayReplaceFrom_) {
    newest_.putUnlessThereIsOne(request);
    kova::performAfter(mayReplaceFrom_ - now, kova::mainThread, *this,
                       [](KIPairingQuestion& self) KOVA_ON_MAIN_THREAD { self.showNewest(); });
    return;
  }
  mayReplaceFrom_ = now + kShortestTimeBetweenReplacements;
  afterDismissal_ = request;
  container->dismissViewController(true, [self = shared_from_this(), container] {
    kova::mainThread.isHere();
    const auto next = std::exchange(self->afterDismissal_, std::nullopt);
    self->guardedOver(container, [&]() KOVA_ON_MAIN_THREAD {
      if (next) self->requestUserApprovalToPair(*next, container);
    });
  });
}

void KIPairingQuestion::requestUserApprovalToPair(const Request& request, const ContainerRef& container) {
  if (request.isVoid()) return;
  container->moveToTop();  // an answer to the alert before may have uncovered the app meanwhile
  asked_ = request;
  listener_(Step::Shown, request);
  const auto alert = std::make_shared<UIAlertController>(
      "Confirm connection?",
      formatted("Please confirm that the following pairing code matches the one in your browser: %@",
                request.code));
  // The listener is told if it is still there; the container, which keeps the alert, goes in any case.
  const auto action = [&](const char* title, Step step) {
    return std::make_shared<UIAlertAction>(
        title, UIAlertAction::Style::Default,
        [listener = listener_, step, request, weakContainer = std::weak_ptr(container)](UIAlertAction&) {
          kova::mainThread.isHere();
          if (const auto shown = weakContainer.lock()) uncoverTheApp(*shown);
          kova::guarded(kAnswered, [&] { listener(step, request); });
        });
  };
  alert->addAction(action("Reject", Step::Rejected));
  alert->addAction(action("Accept", Step::Accepted));
  alert->setPreferredAction(alert->actions().back());
  container->presentViewController(alert, true);
}

void KIPairingQuestion::takeBack() {
  KOVA_addSafeOperationWithBlock(*NSOperationQueue::mainQueue(),
                                 [self = shared_from_this()] {
                                   kova::mainThread.isHere();
                                   const auto container = self->container_.lock();
                                   if (container && !self->isOpen()) uncoverTheApp(*container);
                                 },
                                 {"KovaEventVisualizer", "takeBackQuestion"});
}

KIPairingQuestion::ContainerRef KIPairingQuestion::container() {
  auto container = container_.lock();
  if (container && !container->isStranded()) return container;
  if (container) uncoverTheApp(*container);
  afterDismissal_.reset();
  container = std::make_shared<KIAlertContainerViewController>();
  container_ = container;
  return container;
}
