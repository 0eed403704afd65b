// What a replaced method costs more than before when there is nothing to record, and what the rules that no
// one has set cost. Each call is measured with the replacement and with the implementation before it, in
// turns.

#include "bench/BenchHost.h"
#include "bench/BenchScreen.h"
#include "platform/runtime/Retained.h"
#include "src/autocapture/KovaUtil.h"
#include "src/autocapture/UIResponder+KovaIgnore.h"
#include "src/core/UIApplication+DispatchState.h"
#include "src/core/tracker/UIApplication+EventInterceptor.h"
#include "src/core/tracker/UIGestureRecognizer+EventInterceptor.h"
#include "src/core/tracker/UIViewController+PageviewCapture.h"

namespace {

using namespace platform;

constexpr int kRounds = 101;
constexpr int kCallsARound = 2000;

template <class Call>
double nanosecondsACall(const Call& call) {
  const auto start = bench::Clock::now();
  for (int i = 0; i < kCallsARound; ++i) call();
  return bench::secondsSince(start) * 1e9 / kCallsARound;
}

template <class Call>
void printMedian(const char* what, const Call& call) {
  std::vector<double> times;
  for (int round = 0; round < kRounds; ++round) times.push_back(nanosecondsACall(call));
  bench::printLine(what, bench::median(times), "ns", "-");
}

// `original` is the implementation before the library's.
template <class Signature, class Call>
void measureReplacement(const char* what, const Class& cls, Method<Signature>& method,
                        typename Method<Signature>::Imp original, const Call& call) {
  std::vector<double> before;
  std::vector<double> more;
  const auto replacement = method.replace(cls, original);
  for (int round = 0; round < kRounds; ++round) {
    before.push_back(nanosecondsACall(call));
    method.replace(cls, replacement);
    more.push_back(nanosecondsACall(call) - before.back());
    method.replace(cls, original);
  }
  method.replace(cls, replacement);
  bench::printLine(what, bench::median(more), "ns more", "<= 20");
  bench::printLine("  before", bench::median(before), "ns", "-");
}

void measureApplication(const bench::Screen& screen) {
  UIApplication& application = *screen.application;
  const Class& cls = UIApplication::classObject();
  UIButton& button = *screen.controller->payButton;

  const auto moving = screen.touchOnButton();
  moving->allTouches().front()->setPhase(UITouchPhase::Moved);
  measureReplacement("sendEvent, a finger that moves", cls, UIApplication::sendEventMethod,
                     __KOVA_SendEvent_Orig, [&] { application.sendEvent(*moving); });

  static const SEL action("pay:");
  {
    const KIEventDispatchScope dispatch(*moving);
    measureReplacement("sendAction, the same within 0.2 s", cls, UIApplication::sendActionMethod,
                       __KOVA_SendActionToFromForEvent_Orig, [&] {
                         application.sendAction(action, screen.controller.get(), &button, moving.get());
                       });
  }
  printMedian("  of it: the time since the last", [] { KovaUtil::timeSinceLastSelector("pay:"); });
  printMedian("  of it: keeping the sender", [&button] { retained(&button); });

  UIEvent motion(UIEventType::Motion);
  measureReplacement("motionEnded, not a shake", cls, UIApplication::motionEndedMethod,
                     __KOVA_MotionEndedWithEvent_Orig,
                     [&] { application.motionEnded(UIEventSubtype::None, &motion); });
}

void measureRecognizer() {
  const Class& cls = UIGestureRecognizer::classObject();
  const auto recognizer = UIGestureRecognizer::create<UIPanGestureRecognizer>();
  measureReplacement("initWithTarget, without an action", cls, UIGestureRecognizer::initWithTargetMethod,
                     __KOVA_InitWithTargetAction_Orig, [&] { recognizer->initWithTarget(nullptr, SEL()); });
  recognizer->setState(UIGestureRecognizerState::Began);
  measureReplacement("setState, from Changed to Changed", cls, UIGestureRecognizer::setStateMethod,
                     __KOVA_SetState_Orig, [&] { recognizer->setState(UIGestureRecognizerState::Changed); });
}

void measureController(const bench::Screen& screen) {
  measureReplacement("viewDidAppear, the same screen again", UIViewController::classObject(),
                     UIViewController::viewDidAppearMethod, __KOVA_ViewDidAppear_Orig,
                     [&] { screen.controller->viewDidAppear(false); });
}

// A branch on a variable, behind a call, as the rules are.
volatile bool isAnyRuleSet = false;
[[gnu::noinline]] unsigned oneBranch(UIView* view) { return isAnyRuleSet ? view->isHidden() : 0; }

void measureIgnoreRules(const bench::Screen& screen) {
  UIView* const button = screen.controller->payButton.get();
  unsigned sum = 0;
  const auto ask = [&] { sum += KOVA_touchEventIgnoreRules(button, button); };
  std::vector<double> branch;
  std::vector<double> more;
  for (int round = 0; round < kRounds; ++round) {
    branch.push_back(nanosecondsACall([&] { sum += oneBranch(button); }));
    more.push_back(nanosecondsACall(ask) - branch.back());
  }
  bench::printLine("ignore rules of a touch, none set, beyond a branch", bench::median(more), "ns more",
                   "<= 2");
  bench::printLine("  a call with one branch", bench::median(branch), "ns", "-");
  if (sum != 0) std::abort();

  setKovaRedactText(*screen.window, true);
  printMedian("  with a rule on the window, 29 responders up", ask);
  if (sum == 0) std::abort();
}

}  // namespace

int main() {
  const bench::Host host(false);
  const auto options = bench::Host::options();
  options->setDisableViewControllerAutocapture(false);
  options->setEnableGestureAutocapture(true);
  Kova::initialize(bench::kEnvironment, options);
  const bench::Screen screen;
  screen.show();
  measureApplication(screen);
  measureRecognizer();
  measureController(screen);
  measureIgnoreRules(screen);
}
