#include "examples/support/DeviceWindow.h"

#include <algorithm>
#include <stdexcept>
#include <string>
#include <string_view>

#include "platform/graphics/BitmapContext.h"
#include "platform/uikit/UIKit.h"
#include "platform/uikit/WindowOrder.h"

using namespace platform;

namespace {

constexpr int kDesktopBorder = 40;  // points that the window's title and the desktop's bars may take

[[noreturn]] void fail(const char* what) {
  throw std::runtime_error(std::string(what) + ": " + SDL_GetError());
}

// SDL draws into the void where it finds no display.
bool isSeen(std::string_view driver) {
  return driver != "offscreen" && driver != "dummy" && driver != "evdev";
}

double heightThatFits(double wanted) {
  SDL_Rect usable;
  if (SDL_GetDisplayUsableBounds(0, &usable) != 0) return wanted;
  return std::min<double>(wanted, usable.h - kDesktopBorder);
}

std::vector<std::shared_ptr<UIWindow>> windowsBackToFront() {
  auto windows = visibleWindowsFrontToBack(UIApplication::sharedApplication()->windows());
  std::reverse(windows.begin(), windows.end());
  return windows;
}

}  // namespace

DeviceWindow::DeviceWindow(const std::string& title, CGSize size) {
  if (SDL_Init(SDL_INIT_VIDEO) != 0) fail("there is no display to open a window on");
  if (!isSeen(SDL_GetCurrentVideoDriver()))
    throw std::runtime_error("there is no display to open a window on");
  size.height = heightThatFits(size.height);
  window_.reset(SDL_CreateWindow(title.c_str(), SDL_WINDOWPOS_CENTERED, SDL_WINDOWPOS_CENTERED,
                                 static_cast<int>(size.width), static_cast<int>(size.height),
                                 SDL_WINDOW_ALLOW_HIGHDPI));
  if (!window_) fail("the window cannot be opened");
  renderer_.reset(SDL_CreateRenderer(window_.get(), -1, 0));
  if (!renderer_) fail("the window cannot be drawn");

  int pixels = 0;
  SDL_GetRendererOutputSize(renderer_.get(), &pixels, nullptr);
  UIScreen::mainScreen().setSize(size);
  UIScreen::mainScreen().setScale(pixels / size.width);
  SDL_StartTextInput();
}

void DeviceWindow::run(SDLRunLoop& loop) {
  loop.run([&](const SDL_Event& event) { handle(event, loop); }, [this] { drawIfNeeded(); });
  SDL_HideWindow(window_.get());
}

void DeviceWindow::handle(const SDL_Event& event, SDLRunLoop& loop) {
  const auto point = [](auto x, auto y) { return CGPoint{static_cast<double>(x), static_cast<double>(y)}; };
  switch (event.type) {
    case SDL_QUIT:
      return loop.stop();
    case SDL_WINDOWEVENT:
      return handleWindow(event.window);
    case SDL_MOUSEBUTTONDOWN:
      if (event.button.button == SDL_BUTTON_LEFT) input_.touchBegan(0, point(event.button.x, event.button.y));
      return;
    case SDL_MOUSEMOTION:
      return input_.touchMoved(0, point(event.motion.x, event.motion.y));
    case SDL_MOUSEBUTTONUP:
      if (event.button.button == SDL_BUTTON_LEFT) input_.touchEnded(0);
      return;
    case SDL_TEXTINPUT:
      if (const auto responder = UIResponder::firstResponder()) responder->insertText(event.text.text);
      return;
    case SDL_KEYDOWN:
      return handleKey(event.key.keysym);
    default:
      return;
  }
}

void DeviceWindow::handleWindow(const SDL_WindowEvent& event) {
  if (event.event == SDL_WINDOWEVENT_MINIMIZED) {
    input_.cancelAllTouches();
    UIApplication::sharedApplication()->enterBackground();
  } else if (event.event == SDL_WINDOWEVENT_RESTORED) {
    UIApplication::sharedApplication()->enterForeground();
  } else if (event.event == SDL_WINDOWEVENT_EXPOSED && texture_) {
    present();
  }
}

void DeviceWindow::handleKey(const SDL_Keysym& key) {
  if (key.sym == SDLK_s && (key.mod & KMOD_CTRL)) return UIApplication::sharedApplication()->shake();
  const auto responder = UIResponder::firstResponder();
  if (!responder) return;
  if (key.sym == SDLK_BACKSPACE) responder->deleteBackward();
  if (key.sym == SDLK_RETURN || key.sym == SDLK_KP_ENTER) responder->insertText("\n");
}

// Every window is asked, because asking takes the answer away.
void DeviceWindow::drawIfNeeded() {
  const Windows windows = windowsBackToFront();
  bool isNeeded = windows != shown_;
  for (const auto& window : windows) isNeeded = window->takeNeedsDisplay() || isNeeded;
  if (!isNeeded) return;
  shown_ = windows;
  draw();
  present();
}

void DeviceWindow::draw() {
  const UIScreen& screen = UIScreen::mainScreen();
  BitmapContext context(screen.bounds().size, screen.scale());
  context.fillRect(screen.bounds(), UIColor::lightGray());
  for (const auto& window : shown_) {
    window->drawViewHierarchyInRect({window->convertPointToScreen({}), window->bounds().size}, true, context);
  }
  const auto image = context.makeImage();
  if (!texture_) {
    texture_.reset(SDL_CreateTexture(renderer_.get(), SDL_PIXELFORMAT_ARGB8888, SDL_TEXTUREACCESS_STREAMING,
                                     image->width(), image->height()));
    if (!texture_) fail("the window cannot be drawn");
  }
  SDL_UpdateTexture(texture_.get(), nullptr, image->pixels().data(), image->width() * 4);
}

void DeviceWindow::present() {
  SDL_RenderCopy(renderer_.get(), texture_.get(), nullptr, nullptr);
  SDL_RenderPresent(renderer_.get());
}
