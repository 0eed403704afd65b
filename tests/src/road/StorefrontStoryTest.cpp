#include <map>

#include "tests/src/road/RoadTest.h"

using namespace platform;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

namespace {

// The example app, used by its scripted user from start to end.
class StorefrontStoryTest : public RoadTest {
 protected:
  void tell(const std::vector<std::string>& options = {}) {
    std::vector<std::string> words{STOREFRONT, "--capture-url", service.url(), "--data", data_};
    words.insert(words.end(), options.begin(), options.end());
    ChildProcess storefront(words);
    ASSERT_EQ(storefront.wait(), 0);
    for (const Dictionary& pageview : service.records("h", 1)) {
      const Dictionary& named = pageview.find("named")->dictionary();
      const std::string number = std::to_string(screens_.size() + 1);
      screens_[textAt(named, "v")] = number + " " + textAt(named, "h");
    }
  }

  // Pageviews in the order of arrival: "number class".
  std::vector<std::string> screens() const {
    std::vector<std::string> lines;
    for (const auto& id : parameters(service.records("h"), "v")) lines.push_back(screens_.at(id));
    return lines;
  }

  // In the order of recording: "screen: kind, text, selector, variable".
  std::vector<std::string> interactions() const {
    std::vector<std::string> lines;
    for (const Dictionary& message : service.messages()) {
      const auto& [kind, value] = *message.find("event")->dictionary().begin();
      if (kind.text() == "lifecycleEvent") continue;
      std::string line = screens_.at(textAt(message.find("pageviewInfo")->dictionary(), "id")) + ":";
      for (const char* key : {"type", "targetText", "targetSelector", "targetIvar"}) {
        if (!textAt(value.dictionary(), key).empty()) line += " " + textAt(value.dictionary(), key);
      }
      lines.push_back(line);
    }
    return lines;
  }

  std::string everything() const {
    std::string text;
    for (const Dictionary& record : service.records("")) text += json(record);
    return text;
  }

 private:
  std::map<std::string, std::string> screens_;  // by the id of the pageview
};

TEST_F(StorefrontStoryTest, EachInteractionArrivesOnThePageviewOfItsOwnScreen) {
  tell();
  EXPECT_EQ(textAt(service.records("")[0], "endpoint"), "h");
  EXPECT_EQ(parameters(service.records("h"), "z")[0], "0");
  EXPECT_THAT(screens(), ElementsAre("1 CatalogController", "2 ProductController", "3 BasketController",
                                     "4 CheckoutController", "5 UIAlertController", "6 AccountController",
                                     "7 AccountController"));
  EXPECT_THAT(
      interactions(),
      ElementsAre("1 CatalogController: touch Linen shirt openProduct",
                  "2 ProductController: UISwipeGestureRecognizer showNextColour picture",
                  "2 ProductController: touch picture", "2 ProductController: touch M chooseSize sizeControl",
                  "2 ProductController: touch Add to basket addToBasket addToBasketButton",
                  "2 ProductController: touch Basket _tabBarItemClicked",
                  "3 BasketController: touch Check out checkOut checkOutButton",
                  "4 CheckoutController: touch **** addressRow", "4 CheckoutController: Order placed",
                  "4 CheckoutController: touch Place order placeOrder placeOrderButton",
                  "5 UIAlertController: touch OK _actionTapped",
                  "3 BasketController: touch Account _tabBarItemClicked",
                  "6 AccountController: touch emailField", "6 AccountController: fieldedit emailField",
                  "6 AccountController: touch Sign in signIn signInButton"));
  EXPECT_THAT(parameters(service.records("identify", 1), "i"), ElementsAre("ada@example.com"));

  // What the app adds is sent; what it keeps to itself is not.
  EXPECT_THAT(everything(), AllOf(HasSubstr(R"("productId":"shirt-01")"), HasSubstr(R"("basketSize":"1")"),
                                  Not(HasSubstr("4111 1111")), Not(HasSubstr("41111111")),
                                  Not(HasSubstr("Analytical")), Not(HasSubstr("Card number"))));
}

TEST_F(StorefrontStoryTest, TouchesInTwoScenesBelongToTheScreensOfEach) {
  tell({"--tablet"});
  EXPECT_THAT(screens(), ElementsAre("1 CatalogController", "2 CatalogController", "3 ProductController",
                                     "4 BasketController", "5 CheckoutController"));
  EXPECT_THAT(interactions(),
              ElementsAre("1 CatalogController: touch Stoneware mug openProduct",
                          "2 CatalogController: touch Basket _tabBarItemClicked",
                          "3 ProductController: touch Add to basket addToBasket addToBasketButton",
                          "4 BasketController: touch Check out checkOut checkOutButton",
                          "5 CheckoutController: touch Not yet cancel cancelButton"));
}

}  // namespace
