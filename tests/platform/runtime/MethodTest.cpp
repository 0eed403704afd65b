#include "platform/runtime/Method.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "platform/runtime/AddedMethod.h"

namespace platform {
namespace {

using testing::ElementsAre;

std::vector<std::string>& calls() {
  static auto& list = *new std::vector<std::string>;
  return list;
}

// A screen as the platform writes one: a virtual whose body can be replaced, and the kinds that apps make of
// it.
class Screen : public NSObject {
  NS_OBJECT(Screen, NSObject)

 public:
  static Method<bool(Screen&, const std::string& how)> appearMethod;
  static void describe(ClassBuilder<Screen>& c) { c.method(appearMethod); }

  virtual bool appear(const std::string& how) { return appearMethod.invoke(*this, how); }
};

constinit Method<bool(Screen&, const std::string&)> Screen::appearMethod{
    Screen::classObject, "appear:", [](Screen&, SEL, const std::string& how) {
      calls().push_back("platform " + how);
      return true;
    }};

class InheritingScreen : public Screen {
  NS_OBJECT(InheritingScreen, Screen)
};

class CallingUpScreen : public Screen {
  NS_OBJECT(CallingUpScreen, Screen)

 public:
  bool appear(const std::string& how) override {
    calls().push_back("before");
    return Screen::appear(how);
  }
};

class SilentScreen : public Screen {
  NS_OBJECT(SilentScreen, Screen)

 public:
  bool appear(const std::string&) override { return true; }
};

// Somebody who puts himself around a method, as often as he is instantiated with another number.
template <int party>
struct Party {
  static inline decltype(Screen::appearMethod)::Imp original = nullptr;

  static void install() { original = Screen::appearMethod.replace(Screen::classObject(), around); }
  static bool around(Screen& self, SEL selector, const std::string& how) {
    calls().push_back("party " + std::to_string(party) + " " + NSStringFromSelector(selector));
    return original(self, selector, how);
  }
};

std::vector<std::string> callsOf(Screen&& screen) {
  EXPECT_TRUE(screen.appear("now"));
  return std::exchange(calls(), {});
}

TEST(Replace, ReachesWhoInheritsOrCallsUpTheLatestFirst) {
  Party<1>::install();
  EXPECT_THAT(callsOf(Screen()), ElementsAre("party 1 appear:", "platform now"));
  EXPECT_THAT(callsOf(InheritingScreen()), ElementsAre("party 1 appear:", "platform now"));
  EXPECT_THAT(callsOf(CallingUpScreen()), ElementsAre("before", "party 1 appear:", "platform now"));
  EXPECT_THAT(callsOf(SilentScreen()), ElementsAre());
  Party<2>::install();
  EXPECT_THAT(callsOf(Screen()), ElementsAre("party 2 appear:", "party 1 appear:", "platform now"));
}

TEST(Replace, OnASubclassThatInheritsSetsTheSharedImplementationAndElsewhereNothing) {
  EXPECT_EQ(Screen::appearMethod.replace(NSObject::classObject(), Party<1>::around), nullptr);
  EXPECT_THAT(callsOf(Screen()), ElementsAre("platform now"));
  EXPECT_FALSE(NSObject().respondsToSelector(SEL("appear:")));
  EXPECT_TRUE(InheritingScreen().respondsToSelector(SEL("appear:")));
  const auto replacement = [](Screen&, SEL, const std::string&) { return false; };
  EXPECT_NE(Screen::appearMethod.replace(InheritingScreen::classObject(), replacement), nullptr);
  EXPECT_FALSE(Screen().appear("now"));
}

// A question that another layer adds to classes that know nothing of it.
constinit AddedMethod<std::string(Screen&)> titleMethod{Screen::classObject, "addedTitle",
                                                        [](Screen&, SEL) -> std::string { return "any"; }};

// A virtual has no answers by class, and what has those has no virtual.
template <class M>
concept GivesAnswersByClass = requires(M& method, Class& cls, typename M::Imp imp) {
  method.set(cls, imp);
};
static_assert(GivesAnswersByClass<decltype(titleMethod)>);
static_assert(!GivesAnswersByClass<decltype(Screen::appearMethod)>);

TEST(AddedMethod, TheNearestAnswerUpTheChainIsGiven) {
  InheritingScreen inheriting;
  CallingUpScreen callingUp;
  EXPECT_FALSE(inheriting.respondsToSelector(SEL("addedTitle")));

  titleMethod.install();
  EXPECT_TRUE(inheriting.respondsToSelector(SEL("addedTitle")));
  EXPECT_EQ(titleMethod.send(callingUp), "any");

  Class& cls = CallingUpScreen::classObject();
  EXPECT_TRUE(titleMethod.set(cls, [](Screen&, SEL) -> std::string { return "up"; }));
  class Deeper : public CallingUpScreen{NS_OBJECT(Deeper, CallingUpScreen)} deeper;
  EXPECT_EQ(titleMethod.send(inheriting), "any");
  EXPECT_EQ(titleMethod.send(callingUp), "up");
  EXPECT_EQ(titleMethod.send(deeper), "up");

  EXPECT_TRUE(titleMethod.set(cls, [](Screen&, SEL) -> std::string { return "again"; }));
  EXPECT_EQ(titleMethod.send(deeper), "again");
  EXPECT_FALSE(titleMethod.set(NSObject::classObject(), [](Screen&, SEL) -> std::string { return "no"; }));
}

}  // namespace
}  // namespace platform
