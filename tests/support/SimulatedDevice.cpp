#include "tests/support/SimulatedDevice.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <atomic>
#include <filesystem>

#include "platform/foundation/NSBundle.h"
#include "platform/foundation/NSFileManager.h"
#include "platform/foundation/NSJSONSerialization.h"
#include "platform/foundation/NSProcessInfo.h"
#include "platform/foundation/NSUserDefaults.h"
#include "platform/foundation/SystemLog.h"
#include "platform/net/NetworkReachability.h"
#include "platform/uikit/InstallUIKit.h"
#include "platform/uikit/UIDevice.h"
#include "src/storage/KovaSharedURLSession.h"

using namespace platform;

namespace {

std::atomic<bool> isOnline = true;

std::string makeRoot() {
  std::string root = (std::filesystem::temp_directory_path() / "kova-device-XXXXXX").string();
  EXPECT_NE(mkdtemp(root.data()), nullptr);
  return root;
}

std::string storageKeyForKey(std::string_view key) {
  return std::string("kova_") + SimulatedDevice::kEnvironment + "_" + std::string(key);
}

}  // namespace

// The shared URL session, and a count of its tasks whose completion has not run yet: who waits for it to be
// idle waits for whole chains of requests. Completions have to run on the thread that makes the tasks, as
// they do under the simulated scheduler. Has no sockets: a test that wants one brings its own.
class SettlingURLSession : public KOVAURLSessionProtocol {
 public:
  // True when every completion has run. What those queued has to be drained before this is asked.
  bool isIdle() const { return *tasksInFlight_ == 0; }

  std::shared_ptr<NSURLSessionTask> dataTask(const NSURL& url, Completion completion) override {
    return dataTask(NSURLRequest(url), std::move(completion));
  }
  std::shared_ptr<NSURLSessionTask> dataTask(const NSURLRequest& request, Completion completion) override {
    ++*tasksInFlight_;
    return KovaSharedURLSession::sharedSession()->dataTask(
        request, [inFlight = tasksInFlight_, completion = std::move(completion)](auto... outcome) {
          completion(std::move(outcome)...);
          --*inFlight;
        });
  }
  std::shared_ptr<NSURLSessionWebSocketTask> webSocketTask(const NSURLRequest&) override { return nullptr; }

 private:
  // Shared with completions, which may run after the session is gone.
  const std::shared_ptr<std::size_t> tasksInFlight_ = std::make_shared<std::size_t>(0);
};

SimulatedDevice::SimulatedDevice()
    : scheduler(SimulatedScheduler::installNew()),
      application(std::make_shared<UIApplication>()),
      root_(makeRoot()),
      session_(std::make_shared<SettlingURLSession>()) {
  Directories directories;
  directories.documents = root_ + "/Documents";
  directories.caches = root_ + "/Caches";
  directories.applicationSupport = root_ + "/Support";
  directories.preferences = root_ + "/Preferences";
  directories.applicationIdentifier = "com.example.app";
  NSFileManager().createDirectory(directories.documents, true);
  setDirectories(directories);
  setBundleFacts(
      {{"CFBundleName", "Example App"}, {"CFBundleShortVersionString", "1.0"}, {"CFBundleVersion", "1"}});
  UIDevice::currentDevice().setFacts({.name = "Ada's phone",
                                      .machine = "iPhone15,2",
                                      .identifierForVendor = "0F0E0D0C-0B0A-0908-0706-050403020100",
                                      .advertisingIdentifier = std::nullopt,
                                      .carrierName = "T & T"});
  installUIKit();
  UIApplication::setSharedApplication(application);
  SystemLog::setSink([this](std::string_view line) {
    const std::lock_guard lock(mutex_);
    log_.emplace_back(line);
  });
  // Whoever waits for a request that no completion follows is woken by it.
  service.setObserver([this] { scheduler.mainRunLoop().perform([] {}); });
  isOnline = true;
  NetworkReachability::installFlagSource([](const NetworkReachability::Target&) {
    return std::optional<NetworkReachabilityFlags>(isOnline ? kNetworkReachabilityFlagsReachable : 0);
  });
}

SimulatedDevice::~SimulatedDevice() {
  SystemLog::setSink(nullptr);
  std::filesystem::remove_all(root_);
}

std::shared_ptr<KovaOptions> SimulatedDevice::options() const {
  auto options = std::make_shared<KovaOptions>();
  options->setCaptureBaseUrl(NSURL::create(service.url()));
  options->setDisableViewControllerAutocapture(true);
  options->setTestOnlyUrlSession(session_);
  return options;
}

std::shared_ptr<KovaOptions> SimulatedDevice::optionsWithScreens() const {
  auto withScreens = options();
  withScreens->setDisableViewControllerAutocapture(false);
  return withScreens;
}

std::shared_ptr<UIWindow> SimulatedDevice::show(std::shared_ptr<UIViewController> root) {
  if (!scene && NSProcessInfo::processInfo().isOperatingSystemAtLeast(13)) {
    scene = std::make_shared<UIWindowScene>();
    application->connectScene(scene);
    scene->activate();
  }
  auto window = scene ? UIWindow::create(scene) : UIWindow::create();
  window->setRootViewController(std::move(root));
  window->makeKeyAndVisible();
  return window;
}

void SimulatedDevice::startAndSettle(std::shared_ptr<KovaOptions> options) {
  start(std::move(options));
  runUntilRequests(2);
}

void SimulatedDevice::runUntil(const std::function<bool()>& predicate) {
  EXPECT_TRUE(scheduler.runUntil(predicate, 20)) << "did not come true";
}

void SimulatedDevice::runUntilRequests(std::size_t count) {
  runUntil([&] { return service.requestCount() >= count && session_->isIdle(); });
}

void SimulatedDevice::settle() {
  runUntil([this] { return session_->isIdle(); });
}

void SimulatedDevice::upload() {
  drain();
  settle();
  advance(15);
  settle();
}

void SimulatedDevice::setOnline(bool online) { isOnline = online; }

void SimulatedDevice::setSystemVersion(std::string_view version) {
  NSProcessInfo::processInfo().setOperatingSystemVersionString(version);
}

void SimulatedDevice::setBundleFacts(Dictionary facts) {
  NSBundle::mainBundle().setInfoDictionary(std::move(facts));
}

std::vector<std::string> SimulatedDevice::log() const {
  const std::lock_guard lock(mutex_);
  return log_;
}

std::vector<std::string> SimulatedDevice::logLinesWith(std::string_view text) const {
  std::vector<std::string> lines = log();
  std::erase_if(lines, [text](const std::string& line) { return line.find(text) == std::string::npos; });
  return lines;
}

void SimulatedDevice::clearLog() {
  const std::lock_guard lock(mutex_);
  log_.clear();
}

std::vector<std::string> SimulatedDevice::receivedTargets(std::string_view path) const {
  std::vector<std::string> targets;
  for (const HttpServer::Request& request : service.requests()) {
    if (request.path() == path) targets.push_back(request.target);
  }
  return targets;
}

std::vector<Dictionary> SimulatedDevice::receivedMessages() const {
  std::vector<Dictionary> messages;
  for (const HttpServer::Request& request : service.requests()) {
    if (request.path() != "/api/integrations/ios/track") continue;
    const Value batch = NSJSONSerialization::JSONObjectWithData(request.body).value();
    for (const Value& message : batch.dictionary().find("messages")->array())
      messages.push_back(message.dictionary());
  }
  return messages;
}

std::optional<Value> SimulatedDevice::stored(std::string_view key) const {
  return NSUserDefaults::standardUserDefaults().objectForKey(storageKeyForKey(key));
}

void SimulatedDevice::store(std::string_view key, const Value& value) const {
  NSUserDefaults::standardUserDefaults().setObject(value, storageKeyForKey(key));
}

std::string SimulatedDevice::batchDirectory() const { return directories().caches + "/kova-" + kEnvironment; }

std::vector<std::string> SimulatedDevice::batchFiles() const {
  return NSFileManager().contentsOfDirectory(batchDirectory()).value_or(std::vector<std::string>());
}
