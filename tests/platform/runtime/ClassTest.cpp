#include "platform/runtime/Class.h"

#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "platform/runtime/NSObject.h"

namespace platform {
namespace {

using testing::ElementsAre;

class Button : public NSObject {
  NS_OBJECT(Button, NSObject)
};
class Press : public NSObject {
  NS_OBJECT(Press, NSObject)
};

class Form : public NSObject {
  NS_OBJECT(Form, NSObject)

 public:
  static void describe(ClassBuilder<Form>& c) {
    c.ivar("_inherited", &Form::_inherited).action("reset", &Form::reset).action("submit:", &Form::submit);
  }

  std::vector<std::string> log;

 protected:
  void reset() { log.push_back("reset"); }
  virtual void submit(Button* sender) { log.push_back(sender ? "submit by a button" : "submit by nobody"); }

  std::shared_ptr<Button> _inherited = std::make_shared<Button>();
};

class OrderForm : public Form {
  NS_OBJECT(OrderForm, Form)

 public:
  OrderForm(std::shared_ptr<Button> weak, Button* plain)
      : _weak(std::move(weak)), _plain(plain), _owned(std::make_unique<Button>()) {}

  std::shared_ptr<Button> strong = std::make_shared<Button>();
  const Button* owned() const { return _owned.get(); }

 private:
  // Private, as an app may well have it.
  static void describe(ClassBuilder<OrderForm>& c) {
    c.ivar("zStrong", &OrderForm::strong)
        .ivar("_weak", &OrderForm::_weak)
        .ivar("_plain", &OrderForm::_plain)
        .ivar("_owned", &OrderForm::_owned)
        .action("changed:event:", &OrderForm::changed);
  }

  void submit(Button*) override { log.push_back("order"); }
  void changed(Button* sender, Press* press) {
    log.push_back(std::string(sender ? "button " : "- ") + (press ? "press" : "-"));
  }

  std::weak_ptr<Button> _weak;
  Button* _plain;
  std::unique_ptr<Button> _owned;
};

class BareForm : public OrderForm {
  NS_OBJECT(BareForm, OrderForm)

 public:
  using OrderForm::OrderForm;
};

TEST(InstanceVariables, AreTheClassesOwnInOrderAndAnswerTheirValueOfTheMoment) {
  auto weak = std::make_shared<Button>();
  Button plain;
  OrderForm form(weak, &plain);

  std::vector<std::string> names;
  std::vector<const NSObject*> values;
  for (const InstanceVariable& variable : form.isa().ivars()) {
    names.push_back(variable.name);
    values.push_back(variable.value(form));
  }
  EXPECT_THAT(names, ElementsAre("zStrong", "_weak", "_plain", "_owned"));
  EXPECT_THAT(values, ElementsAre(form.strong.get(), weak.get(), &plain, form.owned()));

  weak.reset();
  form.strong = std::make_shared<Button>();
  EXPECT_EQ(form.isa().ivars()[0].value(form), form.strong.get());
  EXPECT_EQ(form.isa().ivars()[1].value(form), nullptr);

  EXPECT_TRUE(BareForm::classObject().ivars().empty());
}

TEST(Actions, AreRunByNameWithWhatTheyTake) {
  BareForm form(nullptr, nullptr);
  Button button;
  Press press;
  using enum Class::Performed;
  const std::tuple<const char*, NSObject*, NSObject*, Class::Performed> cases[] = {
      {"reset", &button, &press, Yes},
      {"submit:", &button, &press, Yes},
      {"changed:event:", &button, &press, Yes},
      {"changed:event:", nullptr, nullptr, Yes},
      {"submit", &button, &press, NoSuchAction},
      {"submit:", &press, nullptr, WrongArgument},
      {"changed:event:", &button, &button, WrongArgument}};
  for (const auto& [action, sender, event, performed] : cases) {
    EXPECT_EQ(form.isa().perform(form, SEL(action), sender, event), performed) << action;
  }
  EXPECT_THAT(form.log, ElementsAre("reset", "order", "button press", "- -"));
  EXPECT_TRUE(form.respondsToSelector(SEL("submit:")));
  EXPECT_FALSE(form.respondsToSelector(SEL("submit")));
  EXPECT_FALSE(Form().respondsToSelector(SEL("changed:event:")));
}

TEST(ClassLookup, FindsAClassByNameFromItsFirstUseOn) {
  class LateClass : public Button {
    NS_OBJECT(LateClass, Button)
  };
  class Renamed : public Button {
    NS_OBJECT_NAMED(Renamed, Button, "Shop.Renamed")
  };
  EXPECT_EQ(NSClassFromString("LateClass"), nullptr);
  const Class& late = LateClass().isa();
  EXPECT_EQ(NSClassFromString("LateClass"), &late);
  EXPECT_EQ(NSStringFromClass(Renamed::classObject()), "Shop.Renamed");
  EXPECT_EQ(NSClassFromString("Shop.Renamed"), &Renamed::classObject());

  EXPECT_EQ(late.superclass(), NSClassFromString("Button"));
  EXPECT_EQ(NSClassFromString("NSObject")->superclass(), nullptr);
  EXPECT_TRUE(LateClass().isKindOfClass(NSObject::classObject()));
  EXPECT_TRUE(LateClass().isKindOfClass(LateClass::classObject()));
  EXPECT_FALSE(Button().isKindOfClass(LateClass::classObject()));
}

std::vector<std::string>& logged() {
  static auto& lines = *new std::vector<std::string>;
  return lines;
}

TEST(ClassLookup, FindsTheFirstOfTwoClassesOfOneNameAndTheLogNamesThem) {
  setRuntimeLog([](std::string_view line) noexcept { logged().emplace_back(line); });
  Button::classObject();
  class Other : public Form{NS_OBJECT_NAMED(Other, Form, "Button")} other;
  EXPECT_EQ(other.isa().name(), "Button");
  EXPECT_TRUE(other.isKindOfClass(Form::classObject()));
  EXPECT_FALSE(other.isKindOfClass(Button::classObject()));
  EXPECT_EQ(NSClassFromString("Button"), &Button::classObject());
  EXPECT_THAT(logged(),
              ElementsAre("There is more than one class named Button; NSClassFromString answers the first"));
}

class Undescribed : public Form {
  NS_OBJECT(Undescribed, Form)
 public:
  static void describe(ClassBuilder<Undescribed>&) { throw std::runtime_error("no"); }
};

TEST(ClassRecord, OfAClassThatCannotDescribeItselfIsItsSuperclass) {
  setRuntimeLog([](std::string_view line) noexcept { logged().emplace_back(line); });
  EXPECT_EQ(&Undescribed().isa(), &Form::classObject());
  EXPECT_THAT(logged(), testing::Contains("Undescribed"));
}

// An object that stands for one of another toolkit's.
class Widget : public Form {
 public:
  explicit Widget(const Class& cls) : class_(cls) {}
  const Class& isa() const noexcept override { return class_; }

 private:
  const Class& class_;
};

TEST(ClassRecord, MadeAtRunTimeAnswersWhatItsSuperclassDoesAndTakesActions) {
  setRuntimeLog([](std::string_view line) noexcept { logged().emplace_back(line); });
  Class& dialog = Class::derive("QDialog", Form::classObject(), typeid(Widget));
  Class& ofSameName = Class::derive("QDialog", dialog, typeid(Widget));
  EXPECT_EQ(NSClassFromString("QDialog"), &dialog);
  EXPECT_TRUE(logged().empty());

  Widget widget(ofSameName);
  EXPECT_TRUE(widget.isKindOfClass(Form::classObject()));
  EXPECT_TRUE(widget.isKindOfClass(dialog));
  EXPECT_THAT(widget.description(), testing::MatchesRegex("<QDialog: 0x[0-9a-f]+>"));
  EXPECT_TRUE(widget.isEqual(widget));
  EXPECT_FALSE(widget.isEqual(Button()));
  EXPECT_EQ(widget.isa().perform(widget, SEL("reset"), nullptr, nullptr), Class::Performed::Yes);
  EXPECT_FALSE(widget.respondsToSelector(SEL("clicked")));
  dialog.addAction(SEL("clicked"), [](NSObject&, NSObject*, NSObject*) { return true; });
  EXPECT_EQ(widget.isa().perform(widget, SEL("clicked"), nullptr, nullptr), Class::Performed::Yes);
}

TEST(ClassLookup, ManyThreadsMakeOneRecord) {
  std::vector<std::thread> threads;
  std::vector<const Class*> records(8);
  std::vector<SEL> selectors(8);
  for (std::size_t i = 0; i < records.size(); ++i) {
    threads.emplace_back([&, i] {
      records[i] = &BareForm::classObject();
      selectors[i] = SEL("madeByAll:");
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_THAT(records, testing::Each(NSClassFromString("BareForm")));
  EXPECT_THAT(selectors, testing::Each(NSSelectorFromString("madeByAll:")));
}

}  // namespace
}  // namespace platform
