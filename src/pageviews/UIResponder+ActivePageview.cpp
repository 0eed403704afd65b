#include "src/pageviews/UIResponder+ActivePageview.h"

#include <algorithm>
#include <mutex>

#include "platform/runtime/AddedMethod.h"
#include "platform/runtime/ScopedFlag.h"
#include "platform/uikit/UIViewController.h"
#include "platform/uikit/UIWindow.h"
#include "src/core/KIHierarchyLimit.h"
#include "src/pageviews/UIWindow+KOVA.h"

using namespace platform;

namespace {

using Data = std::shared_ptr<KovaAttachedPageviewData>;

const SEL& attachmentKey() {
  static const SEL key("KOVA_scopedAttachedPageviewData");
  return key;
}

// Null in a circle of parents.
UIViewController* outermostParent(UIViewController& controller) {
  UIViewController* outermost = &controller;
  for (int step = 0; step < kHierarchyStepLimit; ++step) {
    UIViewController* parent = outermost->parentViewController();
    if (!parent) return outermost;
    outermost = parent;
  }
  return nullptr;
}

Data resolveOnDeepestViewController(const UIWindow& window,
                                    const std::string& sessionId) KOVA_ON_MAIN_THREAD {
  const auto controller = KOVA_deepestViewController(window);
  return controller ? _KOVA_scopedAttachedPageviewDataWithCurrentSessionId(*controller, sessionId) : nullptr;
}

enum class Windows { All, OthersInScene };

Data search(const UIWindow& window, const std::string& sessionId, Windows windows) KOVA_ON_MAIN_THREAD {
  if (windows == Windows::All) {
    if (auto data = resolveOnDeepestViewController(window, sessionId)) return data;
  }
  const auto inScene = KOVA_allWindowsInScene(window);
  for (auto other = inScene.rbegin(); other != inScene.rend(); ++other) {
    if (other->get() == &window || (*other)->isHidden()) continue;
    if (auto data = resolveOnDeepestViewController(**other, sessionId)) return data;
  }
  return nullptr;
}

// Controllers without a pageview ask their window for its neighbours, whose controllers would ask theirs in
// turn: inside of a search, no other one is started.
constinit bool isSearching KOVA_OF_MAIN_THREAD = false;
Data searchOnce(const UIWindow& window, const std::string& sessionId, Windows windows) KOVA_ON_MAIN_THREAD {
  if (isSearching) return nullptr;
  const ScopedFlag searching(isSearching);
  return search(window, sessionId, windows);
}

using ScopedDataMethod = AddedMethod<Data(UIResponder&, const std::string& sessionId)>;
ScopedDataMethod& scopedDataMethod();

// Asks the next responder. Those that would only ask their next one are passed over here rather than asked: a
// touched view is some thirty responders deep, and the chain may be a circle.
Data answerOfResponder(UIResponder& self, SEL, const std::string& sessionId) {
  UIResponder* responder = self.nextResponder();
  for (int step = 0; responder && step < kHierarchyStepLimit; ++step) {
    const Class& cls = responder->isa();
    if (cls.isSubclassOf(UIViewController::classObject()) || cls.isSubclassOf(UIWindow::classObject())) {
      return scopedDataMethod().send(*responder, sessionId);
    }
    responder = responder->nextResponder();
  }
  return nullptr;
}

Data answerOfViewController(UIResponder& self, SEL, const std::string& sessionId) KOVA_ON_MAIN_THREAD {
  auto& controller = static_cast<UIViewController&>(self);
  if (auto data = KOVA_scopedAttachedPageviewData(controller)) {
    return data->sessionId() == sessionId ? data : nullptr;
  }
  const auto view = controller.viewIfLoaded();
  const UIWindow* window = view ? view->window() : nullptr;
  return window ? searchOnce(*window, sessionId, Windows::OthersInScene) : nullptr;
}

Data answerOfWindow(UIResponder& self, SEL, const std::string& sessionId) KOVA_ON_MAIN_THREAD {
  return searchOnce(static_cast<UIWindow&>(self), sessionId, Windows::All);
}

ScopedDataMethod& scopedDataMethod() {
  static constinit ScopedDataMethod method{
      UIResponder::classObject, "_KOVA_scopedAttachedPageviewDataWithCurrentSessionId:", answerOfResponder};
  static std::once_flag answered;
  std::call_once(answered, [] {
    method.set(UIViewController::classObject(), answerOfViewController);
    method.set(UIWindow::classObject(), answerOfWindow);
  });
  return method;
}

}  // namespace

Data _KOVA_scopedAttachedPageviewDataWithCurrentSessionId(UIResponder& responder,
                                                          const std::string& sessionId) {
  return scopedDataMethod().send(responder, sessionId);
}

std::optional<Dictionary> KOVA_scopedPageviewInfoWithCurrentSessionId(UIResponder& responder,
                                                                      const std::string& sessionId) {
  const Data data = _KOVA_scopedAttachedPageviewDataWithCurrentSessionId(responder, sessionId);
  return data ? std::optional(data->pageviewInfo()) : std::nullopt;
}

std::shared_ptr<UIViewController> KOVA_sourceViewControllerForPageviewWithCurrentSessionId(
    UIResponder& responder, const std::string& sessionId) {
  const Data data = _KOVA_scopedAttachedPageviewDataWithCurrentSessionId(responder, sessionId);
  return data ? data->sourceViewController() : nullptr;
}

Data KOVA_scopedAttachedPageviewData(const UIViewController& controller) {
  const UIViewController* holder = &controller;
  for (int step = 0; holder && step < kHierarchyStepLimit; ++step) {
    if (const UIViewController* parent = holder->parentViewController()) {
      holder = parent;
      continue;
    }
    if (auto data = associatedObject(*holder, &attachmentKey())) {
      return std::static_pointer_cast<KovaAttachedPageviewData>(data);
    }
    holder = holder->presentingViewController();
  }
  return nullptr;
}

std::shared_ptr<UIViewController> KOVA_sourceViewControllerForPageviewWithSessionIdOtherThanCurrentSessionId(
    const UIViewController& controller, const std::string& sessionId) {
  const Data data = KOVA_scopedAttachedPageviewData(controller);
  return data && data->sessionId() != sessionId ? data->sourceViewController() : nullptr;
}

void KOVA_setScopedPageviewInfo(const std::shared_ptr<UIViewController>& controller, Dictionary info,
                                std::string sessionId) {
  KOVA_setScopedPageviewInfo(controller, std::move(info), std::move(sessionId), controller);
}

void KOVA_setScopedPageviewInfo(const std::shared_ptr<UIViewController>& controller, Dictionary info,
                                std::string sessionId,
                                const std::shared_ptr<UIViewController>& sourceViewController) {
  UIViewController* root = outermostParent(*controller);
  if (!root) return;
  setAssociatedObject(*root, &attachmentKey(),
                      std::make_shared<KovaAttachedPageviewData>(std::move(sessionId), std::move(info),
                                                                 sourceViewController));
}
