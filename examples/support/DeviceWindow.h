#pragma once

#include <SDL2/SDL.h>

#include <memory>
#include <string>
#include <vector>

#include "examples/support/SDLRunLoop.h"
#include "platform/graphics/CGGeometry.h"
#include "platform/uikit/UITouchInput.h"

// The device's screen as a window on the desktop. The mouse is a finger, the keyboard types into the first
// responder, Ctrl-S shakes the device; a window that is put away is an app in the background. Main thread.
class DeviceWindow {
 public:
  // Initialises SDL, and states the screen of the device: of this size in points, or lower when the display
  // is. Throws std::runtime_error when there is no display. SDL stays initialised: other threads wake its
  // loop until the process ends.
  DeviceWindow(const std::string& title, platform::CGSize size);
  DeviceWindow(const DeviceWindow&) = delete;
  DeviceWindow& operator=(const DeviceWindow&) = delete;

  // Shows the app until the window is closed.
  void run(SDLRunLoop& loop);

 private:
  struct Destroy {
    void operator()(SDL_Window* window) const { SDL_DestroyWindow(window); }
    void operator()(SDL_Renderer* renderer) const { SDL_DestroyRenderer(renderer); }
    void operator()(SDL_Texture* texture) const { SDL_DestroyTexture(texture); }
  };
  using Windows = std::vector<std::shared_ptr<platform::UIWindow>>;

  void handle(const SDL_Event& event, SDLRunLoop& loop);
  void handleWindow(const SDL_WindowEvent& event);
  static void handleKey(const SDL_Keysym& key);
  void drawIfNeeded();
  void draw();
  void present();

  std::unique_ptr<SDL_Window, Destroy> window_;
  std::unique_ptr<SDL_Renderer, Destroy> renderer_;
  std::unique_ptr<SDL_Texture, Destroy> texture_;
  platform::UITouchInput input_;
  Windows shown_;  // in the picture, back to front
};
