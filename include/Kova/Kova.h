#pragma once

#if __cplusplus < 202002L
#error "Kova needs C++20: compile with -std=c++20, or set CMAKE_CXX_STANDARD to 20."
#else

#include <Kova/KovaArguments.h>
#include <Kova/KovaConstants.h>
#include <Kova/KovaHost.h>
#include <Kova/KovaIgnore.h>
#include <Kova/KovaOptions.h>
#include <Kova/KovaStatus.h>

#include <memory>
#include <optional>
#include <span>
#include <string>

#include "platform/foundation/NSURL.h"
#include "platform/foundation/Value.h"
#include "platform/uikit/UIOpenURLContext.h"

// What a flush has come to when it returns.
struct KovaFlushed {
  bool isStored = false;  // all that was recorded before the call is on disk
  bool isSent = false;    // and the capture service has answered for all of it
};

// Product analytics: the one class that an app calls.
//
//   auto options = std::make_shared<KovaOptions>();
//   options->setDisableViewControllerAutocapture(true);  // for an app without view controllers
//   Kova::initialize("1234", options);
//   Kova::track("Checkout", {{"plan", "pro"}, {"trial", true}, {"seats", 3}});
//
// Events are kept on the device, survive restarts, and are sent in batches while the app is in the
// foreground. An app without view controllers must set disableViewControllerAutocapture as above: no event
// leaves the device before a pageview, and that option makes the library record one by itself.
//
// Calls return at once: the work is done on a queue of the library's own. They are meant for the main thread;
// calls from other threads work too, as long as the main run loop runs. Whichever thread calls, its calls
// take effect in their order: an event has the time, the user, the event properties and, once the session has
// a pageview, the session of its call, whatever is called next. Its screen is the one that is shown when the
// main thread gets to it, and events arrive in the order in which it does. Before initialisation every call
// is a silent no-op and every getter answers nothing. No exception ever leaves a call, with one exception: an
// invalid environment id fails an assertion. After a failure of its own the library logs it and does nothing
// for the rest of the process.
//
// Dictionaries are copied; what is no dictionary, properties whose key is no text, and values that cannot be
// sent are discarded with a line in the debug log. Booleans stay booleans, every other property value is sent
// as its description, numbers in the same way in every locale. nullptr and {} stand for no properties. An
// event or a property without a name (null text) is left out, with a line in the debug log.
class KOVA_EXPORT Kova {
 public:
  Kova() = delete;

  // "9.0.0"
  static std::string libVersion();

  // 16 digits made up for an anonymous user; empty while the store cannot be read, and after a failure.
  static std::optional<std::string> userId();
  // As given to identify, percent-encoded; none for an anonymous user.
  static std::optional<std::string> identity();
  // 16 digits.
  static std::optional<std::string> sessionId();

  // States what the program is, and by that where its files go: once, first of all, on the first thread of
  // the process. A further call does nothing. A program that starts the platform itself does without.
  //
  //   Kova::startHost({.name = "Storefront", .identifier = "com.example.storefront", .version = "1.0"});
  static void startHost(const KovaHost& host);

  // Starts the library. The environment id is a decimal number without leading zeros; any other throws an
  // NSInternalInconsistencyException, and null counts as empty. A further call replaces what the one before
  // it started, after everything that was recorded until then has been stored. The options are shared with
  // the caller, see KovaOptions; null stands for a fresh KovaOptions. Belongs to the main thread; with
  // KovaRunLoop::OfItsOwn to any, and waits.
  static void initialize(KovaText envId);
  static void initialize(KovaText envId, std::shared_ptr<KovaOptions> options);

  // Installs the capture of touches, actions and screens ahead of initialize, which does it as well. Needs no
  // tracker; what happens before initialize is not recorded, and a screen that appears before it counts as
  // recorded until another one has appeared.
  static void instrumentAutocaptureWithOptions(const KovaOptions& options);

  // For apps that forward the URLs that they are asked to open. Anything but a deep link of the library is
  // ignored.
  static void handleOpenURL(const platform::NSURL& url, const platform::Dictionary& options = {});
  static void handleOpenURLContexts(std::span<const platform::UIOpenURLContext> contexts);
  // Pairing with the Event Visualizer's dashboard.
  static void startEVPairing();
  static void stopEVPairing();

  // Writes no debug or verbose lines any more.
  static void stopDebug();

  // Whether anything is recorded. Uploads go on either way.
  static void setTrackingEnabled(bool enabled);
  static bool isTrackingEnabled();

  // Seconds between uploads, 15 unless changed; uploads at once.
  static void changeInterval(double seconds);

  // Stores what has been recorded, and sends what can be sent: for a program that is about to leave, and for
  // one that wants to know. Waits for it, but `seconds` at most; what is stored and not sent goes with the
  // next start. Touches that wait for their action are recorded as they are. Messages that wait for a
  // pageview are stored, not sent, and a debug line counts them. Answers {} at once before initialisation and
  // on the queue that the library works on. Away from the main thread it waits for the main run loop to get
  // there.
  static KovaFlushed flush(double seconds);
  // The same, and then records and sends nothing any more, until the next initialize.
  static KovaFlushed shutdown(double seconds);

  // Where what was recorded has gone, as far as the library's queue has got: the last call may be missing.
  // All zero before initialisation, and after eraseStored; after shutdown what it has come to, until the next
  // initialize. Any thread.
  static KovaStatus status();

  // Stops what runs, without sending, and erases what is stored under the environment id: user, properties,
  // all that waits to be sent, and the app's version, which all environments of the app share. For a user who
  // withdraws a consent; the next initialize begins with a new one. Answers whether nothing is left, which
  // it is not where the disk refuses, or another process of the app has part of it. Belongs to the main
  // thread, as initialize.
  static bool eraseStored(KovaText envId);

  // Whether a failure of its own has ended the library for this process, as it has in a forked child.
  static bool hasFailed();

  // Records an event of the app's own.
  static void track(KovaText event);
  static void track(KovaText event, const KovaProperties& properties);

  // For frameworks that wrap the library: events of theirs, with the framework's name as source. Without a
  // source they are left out, as without a name.
  static void frameworkAutocaptureEvent(KovaText event, KovaText source,
                                        const KovaProperties& sourceProperties = {});
  static void frameworkTrack(KovaText event, const KovaProperties& properties, KovaText source,
                             const KovaProperties& sourceProperties = {});

  // Attaches a name of the app's own to the user: a non-empty string. Under another name than before, the
  // user becomes a new one first.
  static void identify(const platform::Value& identity);
  // Makes an identified user a new, anonymous one.
  static void resetIdentity();

  // Properties of the user, sent once and not kept.
  static void addUserProperties(const KovaProperties& properties);
  // Properties of every event from now on, kept across restarts.
  static void addEventProperties(const KovaProperties& properties);
  static void removeEventProperty(KovaText name);
  static void clearEventProperties();
};

#endif
