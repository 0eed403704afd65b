#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "platform/graphics/BitmapContext.h"
#include "platform/uikit/UIKit.h"

// What is on screen in the measurements of the Event Visualizer: a shop's first screen, in a stack in the
// first of three tabs, with six cards of a picture, a name and a price each.
namespace bench {

// Drawn pictures are flat and compress well; photographs have shades, edges and grain everywhere.
enum class Pictures { Drawn, Photographs };

class CatalogCard : public platform::UIControl {
  NS_OBJECT(CatalogCard, UIControl)

 public:
  CatalogCard(unsigned rgb, Pictures pictures) {
    using namespace platform;
    setBackgroundColor(UIColor::white());
    setCornerRadius(14);
    setBorder(1, UIColor::fromRGB(0xE4DFD6));
    picture_->setImage(pictures == Pictures::Drawn ? drawingIn(UIColor::fromRGB(rgb)) : photographOf(rgb));
    name_->setFont(UIFont::systemFont(15, UIFont::Weight::Medium));
    price_->setFont(UIFont::systemFont(14));
    price_->setTextColor(UIColor::fromRGB(0x6B737B));
    addSubview(picture_);
    addSubview(name_);
    addSubview(price_);
  }

  void layoutSubviews() override {
    using platform::CGRectMake;
    const auto [width, height] = bounds().size;
    picture_->setFrame(CGRectMake(10, 10, width - 20, height - 70));
    name_->setFrame(CGRectMake(10, height - 50, width - 20, 20));
    price_->setFrame(CGRectMake(10, height - 30, width - 20, 20));
  }

 private:
  // Three pixels to a point, as a shop's pictures are.
  static std::shared_ptr<const platform::UIImage> drawingIn(platform::UIColor colour) {
    using namespace platform;
    BitmapContext sheet({160, 160}, 3);
    sheet.fillRoundedRect(CGRectMake(0, 0, 160, 160), 18, colour.withAlpha(0.15));
    sheet.strokeRoundedRect(CGRectMake(66, 20, 28, 28), 12, colour, 6);
    sheet.fillRoundedRect(CGRectMake(40, 34, 80, 100), 26, colour);
    for (const double x : {54, 75, 96}) sheet.fillEllipse(CGRectMake(x, 84, 12, 40), colour.withAlpha(0.4));
    for (const double y : {60, 72}) sheet.strokeLine({56, y}, {104, y}, UIColor::white(), 3);
    return sheet.makeImage();
  }
  static std::shared_ptr<const platform::UIImage> photographOf(unsigned rgb) {
    constexpr int kSide = 480;
    std::mt19937 random(rgb);
    std::vector<std::uint8_t> pixels;
    pixels.reserve(4 * kSide * kSide);
    for (int y = 0; y < kSide; ++y) {
      for (int x = 0; x < kSide; ++x) {
        const double shade = 50 * std::sin(x / 61.0) * std::cos(y / 47.0) + 20 * std::sin(x * y / 900.0);
        const int grain = static_cast<int>(random() % 49) - 24;
        for (const int shift : {0, 8, 16}) {
          const int value = static_cast<int>(rgb >> shift & 0xFF) + static_cast<int>(shade) + grain;
          pixels.push_back(static_cast<std::uint8_t>(std::clamp(value, 0, 255)));
        }
        pixels.push_back(255);
      }
    }
    return platform::UIImage::create(kSide, kSide, 3, std::move(pixels));
  }

  const std::shared_ptr<platform::UIImageView> picture_ = std::make_shared<platform::UIImageView>();
  const std::shared_ptr<platform::UILabel> name_ = std::make_shared<platform::UILabel>("Stoneware mug");
  const std::shared_ptr<platform::UILabel> price_ = std::make_shared<platform::UILabel>("€ 18");
};

class CatalogController : public platform::UIViewController {
  NS_OBJECT(CatalogController, UIViewController)

 public:
  explicit CatalogController(Pictures pictures) : pictures_(pictures) { setTitle("Shop"); }

  void loadView() override {
    const auto scrollView = platform::UIScrollView::create();
    scrollView->setBackgroundColor(platform::UIColor::fromRGB(0xFAF8F4));
    for (const unsigned rgb : {0x2F7D6Bu, 0xC8553Du, 0x34506Fu, 0x8A6D3Bu, 0x6B4F7Bu, 0x34506Fu}) {
      scrollView->addSubview(cards_.emplace_back(std::make_shared<CatalogCard>(rgb, pictures_)));
    }
    setView(scrollView);
  }

  void viewDidLayoutSubviews() override {
    const double width = (view()->bounds().size.width - 14) / 2 - 14;
    for (std::size_t i = 0; i < cards_.size(); ++i) {
      const double x = 14 + static_cast<double>(i % 2) * (width + 14);
      cards_[i]->setFrame(platform::CGRectMake(x, 14 + static_cast<double>(i / 2) * 234, width, 220));
    }
  }

  const std::shared_ptr<CatalogCard>& firstCard() const { return cards_.front(); }

 private:
  const Pictures pictures_;
  std::vector<std::shared_ptr<CatalogCard>> cards_;
};

struct Catalog {
  explicit Catalog(Pictures pictures) : controller(std::make_shared<CatalogController>(pictures)) {
    using namespace platform;
    const auto otherTab = [](const char* title) {
      const auto other = std::make_shared<UIViewController>();
      other->setTitle(title);
      return other;
    };
    const auto stack = UINavigationController::create(controller);
    stack->setTitle("Shop");
    const auto tabs = std::make_shared<UITabBarController>();
    tabs->setViewControllers({stack, otherTab("Basket"), otherTab("Account")});
    window->setRootViewController(tabs);
    window->makeKeyAndVisible();
    window->layoutIfNeeded();
  }

  const std::shared_ptr<platform::UIWindow> window = platform::UIWindow::create();
  const std::shared_ptr<CatalogController> controller;
};

}  // namespace bench
