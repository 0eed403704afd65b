// What a touch event tells of its target, and what is left out of it.

#include "platform/uikit/UIKeyboardLayoutStar.h"
#include "src/autocapture/KITouchEvent.h"
#include "src/autocapture/UIResponder+KovaIgnore.h"
#include "src/core/KovaUtil.h"
#include "src/pageviews/UIResponder+ActivePageview.h"
#include "tests/src/autocapture/CaptureFixture.h"

using namespace platform;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

namespace {

// The least of the Texture toolkit that can be read.
class AttributedTitle : public NSObject {
  NS_OBJECT_NAMED(AttributedTitle, NSObject, "NSAttributedString")

 public:
  static void describe(ClassBuilder<AttributedTitle>& c) { c.key("string", &AttributedTitle::text); }
  std::string text = "Texture";
};
class DisplayNode : public NSObject {
  NS_OBJECT_NAMED(DisplayNode, NSObject, "ASButtonNode")

 public:
  static void describe(ClassBuilder<DisplayNode>& c) { c.key("normalAttributedTitle", &DisplayNode::title); }
  std::shared_ptr<AttributedTitle> title = std::make_shared<AttributedTitle>();
};
class DisplayView : public UIView {
  NS_OBJECT_NAMED(DisplayView, UIView, "_ASDisplayView")

 public:
  static void describe(ClassBuilder<DisplayView>& c) { c.key("asyncdisplaykit_node", &DisplayView::node); }
  std::shared_ptr<DisplayNode> node = std::make_shared<DisplayNode>();
};

class TouchEventTest : public testing::Test {
 protected:
  std::shared_ptr<KITouchEvent> touch(const std::shared_ptr<UIView>& view, unsigned rules = 0,
                                      const char* type = "touch") {
    return KITouchEvent::create(type, view, nullptr, std::nullopt, KITouchEvent::ViewAncestry::Omit, 2, rules,
                                settings);
  }
  static std::string jsonOf(const std::shared_ptr<KITouchEvent>& event) {
    return json(Dictionary(event->mutableEventDictionary()));
  }
  static std::string textOf(const std::shared_ptr<UIView>& view, bool redacted = false) {
    return KovaUtil::getText(*view, redacted).str();
  }

  SimulatedDevice device;
  CaptureSettings settings;
};

TEST_F(TouchEventTest, TheTargetIsDescribedByViewControlAndController) {
  const auto controller = std::make_shared<CartController>();
  const auto icon = std::make_shared<UIView>();
  controller->payButton = std::make_shared<UIButton>("Pay");
  controller->payButton->setAccessibilityIdentifier("pay");
  controller->payButton->addSubview(icon);
  controller->row = viewWith({controller->payButton});
  controller->view()->addSubview(controller->row);

  EXPECT_EQ(jsonOf(touch(icon)),
            R"({"targetView":"UIView","type":"touch","targetText":"","targetA11yLabel":"Pay",)"
            R"("targetA11yId":"pay","targetIvar":"payButton"})");
  EXPECT_EQ(jsonOf(touch(controller->row)),
            R"({"targetView":"UIView","type":"touch","targetText":"","targetIvar":"row"})");
  EXPECT_EQ(touch(icon)->closestControl(), controller->payButton);
  KOVA_setScopedPageviewInfo(controller, {{"title", "Cart"}}, settings.sessionId());
  EXPECT_EQ(json(touch(icon)->pageviewInfo().value()), R"({"title":"Cart"})");

  settings.touchOverrides = Dictionary{{"targetView", "Custom"},   {"targetText", "own"},
                                       {"targetA11yLabel", 7},     {"targetA11yId", "own id"},
                                       {"targetIvar", "own ivar"}, {"targetSelector", "own:sel:"},
                                       {"type", "ignored"},        {7, "ignored"}};
  EXPECT_EQ(jsonOf(touch(icon)),
            R"({"targetView":"Custom","type":"touch","targetText":"own","targetA11yLabel":"7",)"
            R"("targetA11yId":"own id","targetIvar":"own ivar","targetSelector":"own:sel"})");
}

TEST_F(TouchEventTest, WhatIsDisabledOrRedactedIsLeftOut) {
  const auto button = std::make_shared<UIButton>("Pay");
  setKovaRedactText(*button, true);
  const unsigned redactAll = kKovaIgnoreRuleRedactText | kKovaIgnoreRuleRedactAccessibilityLabel;
  const auto redacted = touch(button, redactAll);
  EXPECT_EQ(jsonOf(redacted),
            R"({"targetView":"UIButton","type":"touch","targetText":"****","targetA11yLabel":"****"})");
  redacted->setTargetText(String("later"));
  EXPECT_EQ(redacted->sanitizedTargetText().str(), "****");
  redacted->setTargetText(String(""));
  EXPECT_EQ(redacted->sanitizedTargetText().str(), "");

  settings.touchOverrides = Dictionary{{"targetText", "own words"}, {"targetA11yLabel", "own label"}};
  EXPECT_EQ(jsonOf(touch(button, redactAll)),
            R"({"targetView":"UIButton","type":"touch","targetText":"own words","targetA11yLabel":"****"})")
      << "a text of the app's own is taken as given";

  settings.textOff = settings.labelOff = settings.ivarOff = true;
  EXPECT_EQ(jsonOf(touch(button)), R"({"targetView":"UIButton","type":"touch","targetText":""})");
}

// A button's title and a cell's text are no views of the tree, so that rules above the view do not tell of
// theirs.
TEST_F(TouchEventTest, RedactionOfAButtonsOrACellsOwnLabelCounts) {
  const auto icon = std::make_shared<UIView>();
  const auto around = std::make_shared<UIButton>("4111 1111");
  around->addSubview(icon);
  const auto button = std::make_shared<UIButton>("4111 1111");
  const auto cell = std::make_shared<UITableViewCell>();
  cell->textLabel()->setText(String("4111 1111"));
  for (const auto& own : {around->titleLabel(), button->titleLabel(), cell->textLabel()}) {
    setKovaRedactText(*own, true);
    setKovaRedactAccessibilityLabel(*own, true);
  }
  EXPECT_EQ(textOf(viewWith({label("a"), button})), "a ****");
  for (const auto& view : std::initializer_list<std::shared_ptr<UIView>>{icon, button, cell}) {
    const auto event = KITouchEvent::create("touch", view, nullptr, std::nullopt,
                                            KITouchEvent::ViewAncestry::Capture, 2, 0, settings);
    EXPECT_THAT(jsonOf(event), AllOf(Not(HasSubstr("4111")), HasSubstr(R"("targetA11yLabel":"****")")));
  }
  // One without the other.
  setKovaRedactAccessibilityLabel(*cell->textLabel(), false);
  EXPECT_THAT(jsonOf(touch(cell)), HasSubstr(R"("targetText":"****","targetA11yLabel":"4111 1111")"));
}

TEST_F(TouchEventTest, SomeEventsMustNotExist) {
  const auto keyboard = std::make_shared<UIKeyboardLayoutStar>();
  EXPECT_EQ(touch(keyboard), nullptr);
  EXPECT_NE(touch(keyboard, 0, "fieldedit"), nullptr);
  EXPECT_EQ(touch(std::make_shared<UIView>(), kKovaIgnoreRuleIgnore), nullptr);
  EXPECT_EQ(jsonOf(touch(nullptr)), R"({"targetView":"UIView","type":"touch","targetText":""})");

  const auto inner = std::make_shared<UIButton>("Pay");
  const auto outer = viewWith({inner});
  setKovaIgnoreInnerHierarchy(*outer, true);
  EXPECT_EQ(touch(inner)->view(), outer);
  EXPECT_EQ(touch(inner)->closestControl(), nullptr);
}

TEST_F(TouchEventTest, TextIsReadFromTheFirstTwoSubviewsFourLevelsDeep) {
  const auto secret = std::make_shared<UITextField>();
  secret->setText(String("typed"));
  const auto withSubview = [](std::shared_ptr<UIView> view, std::shared_ptr<UIView> subview) {
    view->addSubview(std::move(subview));
    return view;
  };
  const auto cell = std::make_shared<UITableViewCell>();
  cell->textLabel()->setText(String("cell"));
  const auto redacted = viewWith({label("a"), label("b")});
  setKovaRedactText(*redacted, true);
  struct {
    const char* text;
    std::shared_ptr<UIView> view;
  } const cases[] = {
      {"a b", viewWith({label("a"), label("b"), label("c")})},
      {"b", viewWith({label(""), label("b"), label("c")})},
      {"a", viewWith({viewWith({viewWith({viewWith({label("a")})})})})},
      {"", viewWith({viewWith({viewWith({viewWith({viewWith({label("a")})})})})})},
      {"Pay cell", viewWith({std::make_shared<UIButton>("Pay"), cell})},
      {"Texture", viewWith({std::make_shared<DisplayView>()})},
      {"x",
       viewWith({withSubview(std::make_shared<UITextField>(), std::make_shared<UIButton>("a")), label("x")})},
      {"", secret},
      {"", std::make_shared<UIView>()},
      {"**** x", viewWith({redacted, label("x")})},
  };
  for (const auto& [text, view] : cases) EXPECT_EQ(textOf(view), text);
  EXPECT_EQ(textOf(viewWith({label(""), label("b"), label("c")}), true), "****") << "once";
  EXPECT_EQ(textOf(label(""), true), "");
  const auto broken = std::make_shared<DisplayView>();
  broken->node = nullptr;
  EXPECT_EQ(textOf(broken), "");
}

TEST_F(TouchEventTest, TextEndsAt64UnitsAndAWholeCharacter) {
  const std::string a63(63, 'a');
  EXPECT_EQ(textOf(label(a63 + "bc")), a63 + "b");
  EXPECT_EQ(textOf(label(a63 + "\U0001F600c")), a63 + "\U0001F600");
  EXPECT_EQ(textOf(label(a63 + "e\u0301c")), a63 + "e\u0301");
  EXPECT_EQ(textOf(viewWith({label(a63), label("bc")})), a63 + " ");
  EXPECT_EQ(textOf(viewWith({label(a63), label("\u0301bc")})), a63 + " \u0301");
  EXPECT_EQ(textOf(viewWith({label(a63 + "b"), label("c")})), a63 + "b") << "full: the second is not read";
  EXPECT_EQ(textOf(viewWith({label(a63.substr(3)), label("bcd")})), a63.substr(3) + " bcd");
}

TEST_F(TouchEventTest, AControlIsSoughtAmongThirtyRespondersUpToAController) {
  const auto control = std::make_shared<UIButton>("Pay");
  std::shared_ptr<UIView> deepest = control;
  for (int step = 1; step <= 30; ++step) {
    const auto inside = viewWith({});
    deepest->addSubview(inside);
    deepest = inside;
    EXPECT_EQ(KovaUtil::closestControl(*deepest), step < 30 ? control.get() : nullptr) << step;
  }
  const auto controller = std::make_shared<CartController>();
  control->addSubview(controller->view());
  EXPECT_EQ(KovaUtil::closestControl(*controller->view()), nullptr);
}

TEST_F(TouchEventTest, ASelectorLosesOneColon) {
  const auto trimmed = [](const char* name) { return KovaUtil::trimSelector(String(name))->str(); };
  EXPECT_EQ(trimmed("tap:"), "tap");
  EXPECT_EQ(trimmed("a:b:"), "a:b");
  EXPECT_EQ(trimmed("tap"), "tap");
  EXPECT_EQ(trimmed(":"), "");
  EXPECT_EQ(KovaUtil::trimSelector(std::nullopt), std::nullopt);
}

TEST_F(TouchEventTest, DescribesItselfForTheLog) {
  const auto button = std::make_shared<UIButton>("Pay");
  button->setAccessibilityIdentifier("pay");
  const auto event = KITouchEvent::create("touch", button, nullptr, String("pay:"),
                                          KITouchEvent::ViewAncestry::Capture, 2, 0, settings);
  event->setPageviewInfo(Dictionary{{"viewController", "CartController"},
                                    {"title", "Cart"},
                                    {"screenA11yId", ""},
                                    {"screenA11yLabel", "l"}});
  EXPECT_EQ(event->description(),
            "   Event Type                              : touch\n"
            "   Action Method                           : pay:\n"
            "   Target Text                             : Pay\n"
            "   Target View Class                       : UIButton\n"
            "   Target View accessibilityIdentifier     : pay\n"
            "   Target View accessibilityLabel          : Pay\n"
            "   View controller                         : CartController\n"
            "   View controller title                   : Cart\n"
            "   View controller accessibilityLabel      : l\n"
            "   View Ancestry                           :\n"
            "    * UIButton\n      > accessibilityLabel : Pay\n      > accessibilityIdentifier : pay");
}

}  // namespace
