#pragma once

#include <string>

// Who runs the main run loop.
enum class KovaRunLoop {
  // The host, on the first thread of the process: platform::ThreadScheduler::installed().ownRunLoop().run(),
  // or the loop of a toolkit that it has presented there.
  OfHost,
  // Kova, on a thread of its own, for a service, a tool, a program in another language: there is nothing to
  // run. Every call is then one of another thread: the host's calls take effect in their order, and each
  // returns before its work is done, but for initialize, eraseStored, flush and shutdown. The host's blocks
  // and delegates are called on that thread. Views and windows would belong to it too. A child that is forked
  // afterwards records nothing: fork first.
  OfItsOwn
};

// What a program says of itself, see Kova::startHost.
struct KovaHost {
  std::string name = {};  // "Storefront"
  // "com.example.storefront": names the folders of its files; the name when empty.
  std::string identifier = {};
  // "2.1", sent with every event. Without it, or without a build, no event tells of installation and upgrade.
  std::string version = {};
  std::string build = "1";
  std::string directory = {};  // where its files go; the user's own folders when empty
  KovaRunLoop runLoop = KovaRunLoop::OfHost;
  // Uploads are tried on a machine that has no default route too: for a capture service on the machine
  // itself.
  bool assumesNetwork = false;
};
