// A start of the library from whatever is stored: rows, journal, calls and a batch file. Each ends by sending
// what it has found, must not give up, and its sums must agree. The input is pieces behind a byte 1; the byte
// after it says what the piece is.

#include <Kova/Kova.h>
#include <stdlib.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <vector>

#include "fuzz/Input.h"
#include "platform/foundation/NSFileManager.h"
#include "platform/foundation/NSJSONSerialization.h"
#include "platform/foundation/NSUserDefaults.h"
#include "platform/foundation/RecordFile.h"
#include "platform/foundation/SystemLog.h"
#include "platform/net/NetworkReachability.h"
#include "platform/simulator/SimulatedScheduler.h"
#include "platform/uikit/InstallUIKit.h"
#include "platform/uikit/UIApplication.h"
#include "tests/support/HeldURLSession.h"

using namespace platform;

namespace {

constexpr const char* kEnvironment = "12345";
constexpr char kPiece = '\1';
constexpr const char* kRows[] = {"identity",
                                 "userId",
                                 "eventProperties",
                                 "queuedPageviews",
                                 "parts",
                                 "doneCalls",
                                 "queuedMessageBatches",
                                 "journalNumber",
                                 "unreadableBatchFile"};

bool agrees(const KovaCounts& counts) {
  return counts.accepted + counts.found == counts.waiting + counts.delivered + counts.pushedOut +
                                               counts.refused + counts.unsendable + counts.unreadable;
}

// One a process, in a folder of its own.
class Device {
 public:
  Device() {
    char folder[] = "/dev/shm/kova-start-XXXXXX";
    const char* made = mkdtemp(folder);
    if (!made) std::abort();
    root_ = made;
    setDirectories({.documents = root_,
                    .caches = root_,
                    .applicationSupport = root_,
                    .preferences = root_,
                    .applicationIdentifier = "app"});
    installUIKit();
    UIApplication::setSharedApplication(std::make_shared<UIApplication>());
    SystemLog::setSink([](std::string_view) {});
    NetworkReachability::installFlagSource([](const NetworkReachability::Target&) {
      return std::optional<NetworkReachabilityFlags>(kNetworkReachabilityFlagsReachable);
    });
    options_->setDisableViewControllerAutocapture(true);
    options_->setTestOnlyUrlSession(session_);
    options_->setCaptureBaseUrl(NSURL::create("http://127.0.0.1:9/"));
    std::atexit([] { std::filesystem::remove_all(root_); });
  }
  // The row that each key has from now on, from its JSON; none for those that are left out.
  static void store(const std::map<std::string, std::string>& rows) {
    NSUserDefaults::Changes changes;
    for (const char* key : kRows) {
      const auto row = rows.find(key);
      changes.emplace_back(
          std::string("kova_") + kEnvironment + "_" + key,
          row == rows.end() ? std::nullopt : NSJSONSerialization::JSONObjectWithData(row->second));
    }
    NSUserDefaults::standardUserDefaults().setObjects(changes);
  }
  void forgetFiles() const {
    for (const char* file : {".journal", ".calls"}) std::filesystem::remove(path(file));
    std::filesystem::remove_all(path(""));
    std::filesystem::create_directory(path(""));
  }
  // Of the environment: its files and its directory.
  std::string path(std::string_view end) const { return root_ + "/kova-" + kEnvironment + std::string(end); }

  void start() {
    Kova::initialize(kEnvironment, options_);
    scheduler_.drain();
    Kova::track("Started");
    for (int pass = 0; pass < 2; ++pass) {
      answerAll();
      scheduler_.advance(15);
    }
    const KovaStatus status = Kova::status();
    if (Kova::hasFailed() || !agrees(status.events) || !agrees(status.requests)) std::abort();
    Kova::shutdown(0);
    scheduler_.drain();
    answerAll();
  }

 private:
  void answerAll() {
    while (!session_->open.empty()) {
      for (const auto& open : session_->takeOpen()) open.answer(200);
      scheduler_.drain();
    }
  }

  inline static std::string root_;
  SimulatedScheduler& scheduler_ = SimulatedScheduler::installNew();
  const std::shared_ptr<HeldURLSession> session_ = std::make_shared<HeldURLSession>();
  const std::shared_ptr<KovaOptions> options_ = std::make_shared<KovaOptions>();
};

struct Stored {
  std::map<std::string, std::string> rows;
  std::vector<std::string> journal, calls;
};

void take(const Device& device, std::string_view piece, Stored& stored) {
  if (piece.size() < 2) return;
  const char kind = piece.front();
  piece.remove_prefix(1);
  if (kind >= 'a' && kind < 'a' + static_cast<char>(std::size(kRows))) stored.rows[kRows[kind - 'a']] = piece;
  if (kind == 'j') stored.journal.emplace_back(piece);
  if (kind == 'k') stored.calls.emplace_back(piece);
  if (kind == 'J') std::ofstream(device.path(".journal")) << piece;
  if (kind == 'K') std::ofstream(device.path(".calls")) << piece;
  if (kind == 'B') std::ofstream(device.path("/B")) << piece;
}

void keep(const std::string& path, const std::vector<std::string>& records) {
  if (records.empty()) return;
  if (const auto file = RecordFile::open(path)) file->replaceAll(records);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static auto& device = *new Device;
  device.forgetFiles();
  std::string_view rest = textOf(data, size);
  Stored stored;
  while (!rest.empty()) {
    const std::size_t end = std::min(rest.find(kPiece), rest.size());
    take(device, rest.substr(0, end), stored);
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  Device::store(stored.rows);
  keep(device.path(".journal"), stored.journal);
  keep(device.path(".calls"), stored.calls);
  device.start();
  return 0;
}
