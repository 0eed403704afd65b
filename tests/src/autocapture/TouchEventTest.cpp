// What a touch event tells of its target, and what is left out of it.

#include "platform/uikit/UIKeyboardLayoutStar.h"
#include "src/autocapture/UIResponder+KovaIgnore.h"
#include "src/pageviews/UIResponder+ActivePageview.h"
#include "tests/src/autocapture/CaptureTest.h"

using namespace platform;
using namespace testing;

namespace {

// The least of the Texture toolkit that can be read.
class AttributedTitle : public NSObject {
  NS_OBJECT_NAMED(AttributedTitle, NSObject, "NSAttributedString")
 public:
  static void describe(ClassBuilder<AttributedTitle>& c) { c.key("string", &AttributedTitle::text); }
  std::string text = "Texture";
};
class DisplayView : public UIView {
  NS_OBJECT_NAMED(DisplayView, UIView, "_ASDisplayView")
 public:
  static void describe(ClassBuilder<DisplayView>& c) {
    c.key("asyncdisplaykit_node", &DisplayView::node).key("normalAttributedTitle", &DisplayView::title);
  }
  std::shared_ptr<DisplayView> node;
  std::shared_ptr<AttributedTitle> title = std::make_shared<AttributedTitle>();
};

std::string jsonOf(const std::shared_ptr<KITouchEvent>& event) {
  return json(Dictionary(event->mutableEventDictionary()));
}
std::string textOf(const std::shared_ptr<UIView>& view, bool redacted = false) {
  return KovaUtil::getText(*view, redacted).str();
}

class TouchEventTest : public testing::Test {
 protected:
  TouchEventTest() {
    pay->setAccessibilityIdentifier("pay");
    controller->payButton = pay;
    controller->row = viewWith({pay});
    controller->view()->addSubview(controller->row);
  }

  SimulatedDevice device;
  CaptureSettings settings;
  std::shared_ptr<CartController> controller = std::make_shared<CartController>();
  std::shared_ptr<UIButton> pay = std::make_shared<UIButton>("Pay");
};

TEST_F(TouchEventTest, TheTargetIsDescribedByViewControlAndController) {
  const auto icon = std::make_shared<UIView>();
  pay->addSubview(icon);
  const std::string captured =
      R"({"targetView":"UIView","type":"touch","targetText":"","targetA11yLabel":"Pay",)"
      R"("targetA11yId":"pay","targetIvar":"payButton"})";
  EXPECT_EQ(jsonOf(settings.touch(icon)), captured);
  EXPECT_EQ(jsonOf(settings.touch(controller->row)),
            R"({"targetView":"UIView","type":"touch","targetText":"","targetIvar":"row"})");
  EXPECT_EQ(settings.touch(icon)->closestControl(), pay);
  KOVA_setScopedPageviewInfo(controller, {{"title", "Cart"}}, settings.sessionId());
  EXPECT_EQ(json(settings.touch(icon)->pageviewInfo().value()), R"({"title":"Cart"})");

  settings.touchOverrides = Dictionary{{"targetView", nullptr}, {"targetText", nullptr}, {"own", "left out"}};
  EXPECT_EQ(jsonOf(settings.touch(icon)), captured);
  settings.touchOverrides = Dictionary{{"targetView", "Custom"},   {"targetText", "own"},
                                       {"targetA11yLabel", 7},     {"targetA11yId", "own id"},
                                       {"targetIvar", "own ivar"}, {"targetSelector", "own:sel:"},
                                       {"type", "ignored"},        {7, "ignored"}};
  EXPECT_EQ(jsonOf(settings.touch(icon)),
            R"({"targetView":"Custom","type":"touch","targetText":"own","targetA11yLabel":"7",)"
            R"("targetA11yId":"own id","targetIvar":"own ivar","targetSelector":"own:sel"})");
}

TEST_F(TouchEventTest, WhatIsDisabledOrRedactedIsLeftOut) {
  const auto button = std::make_shared<UIButton>("Pay");
  setKovaRedactText(*button, true);
  const unsigned redactAll = kKovaIgnoreRuleRedactText | kKovaIgnoreRuleRedactAccessibilityLabel;
  const auto redacted = settings.touch(button, redactAll);
  EXPECT_EQ(jsonOf(redacted),
            R"({"targetView":"UIButton","type":"touch","targetText":"****","targetA11yLabel":"****"})");
  redacted->setTargetText(String("later"));
  EXPECT_EQ(redacted->sanitizedTargetText().str(), "****");
  redacted->setTargetText(String(""));
  EXPECT_EQ(redacted->sanitizedTargetText().str(), "");

  settings.touchOverrides = Dictionary{{"targetText", "own words"}, {"targetA11yLabel", "own label"}};
  EXPECT_EQ(jsonOf(settings.touch(button, redactAll)),
            R"({"targetView":"UIButton","type":"touch","targetText":"own words","targetA11yLabel":"****"})")
      << "a text of the app's own is taken as given";
  settings.textOff = settings.labelOff = settings.ivarOff = true;
  const auto omitted = settings.touch(pay);
  omitted->setTargetText(String("later"));
  EXPECT_EQ(jsonOf(omitted),
            R"({"targetView":"UIButton","type":"touch","targetText":"","targetA11yId":"pay"})");
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
    EXPECT_THAT(jsonOf(settings.touch(view, 0, nullptr, "touch", KITouchEvent::ViewAncestry::Capture)),
                AllOf(Not(HasSubstr("4111")), HasSubstr(R"("targetA11yLabel":"****")")));
  }
  // One without the other.
  setKovaRedactAccessibilityLabel(*cell->textLabel(), false);
  EXPECT_THAT(jsonOf(settings.touch(cell)),
              HasSubstr(R"("targetText":"****","targetA11yLabel":"4111 1111")"));
}

TEST_F(TouchEventTest, SomeEventsMustNotExist) {
  const auto keyboard = std::make_shared<UIKeyboardLayoutStar>();
  EXPECT_EQ(settings.touch(keyboard), nullptr);
  EXPECT_NE(settings.touch(keyboard, 0, nullptr, "fieldedit"), nullptr);
  EXPECT_EQ(settings.touch(pay, kKovaIgnoreRuleIgnore), nullptr);
  setKovaIgnoreInnerHierarchy(*controller->row, true);
  EXPECT_EQ(settings.touch(pay)->view(), controller->row);
  controller->row->addSubview(keyboard);
  EXPECT_EQ(settings.touch(keyboard), nullptr);
  EXPECT_EQ(jsonOf(settings.touch(nullptr)), R"({"targetView":"UIView","type":"touch","targetText":""})");
}

TEST_F(TouchEventTest, TextIsReadFromTheFirstTwoSubviewsFourLevelsDeepAndEndsAt64UnitsAndAWholeCharacter) {
  const auto field = std::make_shared<UITextField>();
  field->addSubview(std::make_shared<UIButton>("a"));
  field->setText(String("typed"));
  const auto cell = std::make_shared<UITableViewCell>();
  cell->textLabel()->setText(String("cell"));
  const auto redacted = viewWith({label("a"), label("b")});
  setKovaRedactText(*redacted, true);
  const auto screen = std::make_shared<CartController>();
  screen->view()->addSubview(label("a"));
  setKovaRedactText(*screen, true);
  const auto texture = std::make_shared<DisplayView>();
  texture->node = std::make_shared<DisplayView>();
  const auto fourDeep = viewWith({viewWith({viewWith({viewWith({label("a")})})})});
  const std::string a63(63, 'a');
  const std::pair<std::string, std::shared_ptr<UIView>> cases[] = {
      {"a b", viewWith({label("a"), label("b"), label("c")})},
      {"b", viewWith({label(""), label("b"), label("c")})},
      {"a", fourDeep},
      {"", viewWith({viewWith({viewWith({viewWith({viewWith({label("a")})})})})})},
      {"Pay cell", viewWith({std::make_shared<UIButton>("Pay"), cell})},
      {"Texture", viewWith({texture})},
      {"", texture->node},
      {"x", viewWith({field, label("x")})},
      {"**** x", viewWith({redacted, label("x")})},
      {"**** x", viewWith({screen->view(), label("x")})},
      {a63 + "b", label(a63 + "bc")},
      {a63 + "\U0001F600", label(a63 + "\U0001F600c")},
      {a63 + "e\u0301", label(a63 + "e\u0301c")},
      {a63 + " ", viewWith({label(a63), label("bc")})},
      {a63 + " \u0301", viewWith({label(a63), label("\u0301bc")})},
      {a63 + "b", viewWith({label(a63 + "b"), label("c")})},
      {a63.substr(3) + " bcd", viewWith({label(a63.substr(3)), label("bcd")})},
  };
  for (const auto& [text, view] : cases) EXPECT_EQ(textOf(view), text);
  EXPECT_EQ(textOf(viewWith({label(""), label("b"), label("c")}), true), "****") << "once";
  EXPECT_EQ(textOf(label(""), true), "");
}

TEST_F(TouchEventTest, AControlIsSoughtAmongThirtyRespondersUpToAController) {
  std::shared_ptr<UIView> deepest = pay;
  for (int step = 1; step <= 30; ++step) {
    const auto inside = viewWith({});
    deepest->addSubview(inside);
    deepest = inside;
    EXPECT_EQ(KovaUtil::closestControl(*deepest), step < 30 ? pay.get() : nullptr) << step;
  }
  const auto inner = std::make_shared<CartController>();
  pay->addSubview(inner->view());
  EXPECT_EQ(KovaUtil::closestControl(*inner->view()), nullptr);
}

TEST_F(TouchEventTest, DescribesItselfForTheLog) {
  settings.limit = 1;
  const auto event = settings.touch(pay, 0, nullptr, "touch", KITouchEvent::ViewAncestry::Capture);
  event->setTargetSelector(String("pay:"));
  event->setPageviewInfo(Dictionary{{"viewController", "CartController"},
                                    {"title", "Cart"},
                                    {"screenA11yId", ""},
                                    {"screenA11yLabel", "l"}});
  EXPECT_EQ(event->description(),
            "   Event Type                              : touch\n"
            "   Action Method                           : pay:\n"
            "   Target View Name                        : payButton\n"
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
