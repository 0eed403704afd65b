// What the host calls is noted before it is handed over, and done at the next start if this process does not
// get to it.

#include "src/core/tracker/KovaTracker+Calls.h"

#include <Kova/KovaConstants.h>

#include <map>

#include "src/autocapture/KITouchEvent.h"
#include "src/core/Guard.h"
#include "src/core/KIBailer.h"
#include "src/core/KovaLogger.h"
#include "src/events/KIMoment.h"
#include "src/events/KovaMessageBuilder.h"
#include "src/identity/KIIdentityManager.h"
#include "src/identity/KISessionManager.h"

using namespace platform;

namespace {

Value orNull(const std::optional<Dictionary>& entries) { return entries ? Value(*entries) : Value(); }
std::optional<Dictionary> dictionaryIn(const Value& value) {
  return value.isDictionary() ? std::optional(value.dictionary()) : std::nullopt;
}

Value takeNext(std::string_view& bytes) { return takeDecoded(bytes).value_or(Value()); }

KISessionManager::State sessionIn(std::string_view bytes) {
  const Value sessionId = takeNext(bytes);
  const Value zParam = takeNext(bytes);
  auto pixelProperties = dictionaryIn(takeNext(bytes));
  auto pageview = dictionaryIn(takeNext(bytes));
  return {std::string(sessionId.text()), zParam.isInteger() ? zParam.integer() : 0,
          std::move(pixelProperties), std::move(pageview)};
}

KIMoment momentIn(std::string_view bytes, const Value& timestamp) {
  auto userInfo = dictionaryIn(takeNext(bytes));
  auto eventProperties = dictionaryIn(takeNext(bytes));
  auto sessionInfo = dictionaryIn(takeNext(bytes));
  auto pageviewInfo = dictionaryIn(takeNext(bytes));
  return {std::string(timestamp.text()), std::move(userInfo), std::move(eventProperties),
          std::move(sessionInfo), std::move(pageviewInfo)};
}

}  // namespace

KIMoment KovaTracker::LeftCall::momentAt(const Value& timestamp) const { return momentIn(moment, timestamp); }

Value KovaTracker::LeftCall::next() {
  std::string_view rest = arguments;
  Value value = takeNext(rest);
  arguments.erase(0, arguments.size() - rest.size());
  return value;
}

// An action adds to a touch that has been noted, and leaves its ancestry as it was.
void KovaTracker::note(KITouchEvent& event) const {
  MutableDictionary fields = event.mutableEventDictionary();
  if (!event.calls().empty() && event.calls().front() != KICallLog::kNotNoted)
    fields.remove(KovaTouchEventPropertyViewAncestry);
  event.addCall(note(Call::Touch, std::string_view(event.eventId()), std::string_view(event.timestamp()),
                     std::string_view(event.kind()), Value(event.appVisibilityState()),
                     Dictionary(std::move(fields))));
}

void KovaTracker::noteMoment(std::uint64_t call, const KIMoment& moment) {
  ByteBuffer bytes;
  for (const auto* part :
       {&moment.userInfo, &moment.eventProperties, &moment.sessionInfo, &moment.pageviewInfo})
    appendEncoded(bytes, orNull(*part));
  queueManager_->calls().noteMoment(call, bytes.text());
}

void KovaTracker::noteSession() {
  const auto session = sessionManager_->state();
  ByteBuffer bytes;
  appendEncoded(bytes, std::string_view(session.sessionId));
  appendEncoded(bytes, Value(session.zParam));
  appendEncoded(bytes, orNull(session.sessionPixelProperties));
  appendEncoded(bytes, orNull(session.mostRecentPageviewInfo));
  KICallLog& calls = queueManager_->calls();
  redoneSession_ ? calls.noteLeftSession(*redoneSession_, bytes.text())
                 : calls.noteSession(std::string(bytes.text()));
}

std::vector<KovaTracker::LeftCall> KovaTracker::leftCallsIn(std::vector<KICallLog::Left::Call> left) {
  std::vector<LeftCall> calls;
  std::map<std::string, std::size_t, std::less<>> touches;  // by event id, their place
  for (KICallLog::Left::Call& call : left) {
    if (call.arguments.empty()) continue;
    LeftCall next{
        {call.number}, Call{call.arguments[0]}, call.arguments.substr(1), std::move(call.moment), {},
        call.session};
    if (next.call == Call::Touch) {
      std::string_view arguments = next.arguments;
      const auto [known, isNew] = touches.try_emplace(std::string(takeNext(arguments).text()), calls.size());
      if (!isNew) {
        calls[known->second].numbers.push_back(call.number);
        calls[known->second].changed = std::move(next.arguments);
        continue;
      }
    }
    calls.push_back(std::move(next));
  }
  return calls;
}

void KovaTracker::redoLeftCalls() {
  auto left = queueManager_->takeLeftCalls();
  if (left.calls.empty()) return;
  KovaLogDebug("%lu calls of the process before are taken up that it has not got to.", left.calls.size());
  // A batch file that the process left without its row holds messages that still wait: they must be known as
  // such before a call moves them into another batch.
  queueManager_->adoptLeftovers();
  const auto own = sessionManager_->state();
  isRedoing_ = true;
  for (LeftCall& call : leftCallsIn(std::move(left.calls))) {
    if (KIBailer::sharedBailer().isBailed()) break;
    if (redoneSession_ != call.session) {
      const std::string& session = left.sessions[call.session];
      sessionManager_->restore(session.empty() ? own : sessionIn(session));  // the power may have taken it
    }
    redoneSession_ = call.session;
    redoLeftCall(call);
  }
  isRedoing_ = false;
  redoneSession_ = std::nullopt;
  sessionManager_->restore(own);
  queueManager_->persistQueuedEvents();
  if (!KIBailer::sharedBailer().isBailed()) queueManager_->calls().noteThrough();
}

void KovaTracker::redoLeftCall(const LeftCall& call) {
  bool isDone = false;
  kova::guarded(
      {*this, "redoLeftCalls"},
      [&] {
        kova::mutationQueue.isHere();
        isDone = redoMessage(call);
        if (isDone) return;
        queueManager_->carryOut(call.numbers, [&] {
          kova::mutationQueue.isHere();
          redo(call);
        });
        isDone = true;
      },
      kova::OnException::Report);
  if (!isDone) queueManager_->carryOut(call.numbers, [] {});  // it would fail each time
}

bool KovaTracker::redoMessage(const LeftCall& call) {
  if (call.call == Call::CustomEvent) return redoCustomEvent(call);
  return call.call == Call::Touch && redoTouch(call);
}

void KovaTracker::redo(LeftCall call) {
  const auto takeDictionary = [&call] { return dictionaryIn(call.next()).value_or(Dictionary()); };
  switch (call.call) {
    case Call::CustomEvent:
    case Call::Touch:
      break;  // no message can be made of its arguments
    case Call::Pageview: {
      const auto info = takeDictionary();
      const Value repeat = call.next();
      if (repeat.isInteger())
        pageviewRecorder_->enqueueQuietly(info, static_cast<KIPageview::Repeat>(repeat.integer()));
      break;
    }
    case Call::Identify:
      identifyOnMutationQueue(String(call.next().text()));
      break;
    case Call::ResetIdentity:
      beginWithNewUser();
      break;
    case Call::AddUserProperties:
      addUserPropertiesOnMutationQueue(takeDictionary());
      break;
    case Call::AddEventProperties:
      identityManager_->addSanitizedEventProperties(takeDictionary());
      break;
    case Call::RemoveEventProperty:
      identityManager_->removeEventProperty(call.next().text());
      break;
    case Call::ClearEventProperties:
      identityManager_->resetEventProperties();
      break;
  }
}

// The touch that was noted, with what its last action left it with.
Dictionary KovaTracker::changedTouch(const Dictionary& noted, std::string arguments) {
  LeftCall call{.numbers = {},
                .call = Call::Touch,
                .arguments = std::move(arguments),
                .moment = {},
                .changed = {},
                .session = {}};
  for (int ahead = 0; ahead < 4; ++ahead) call.next();  // id, time, kind and visibility, which are the same
  MutableDictionary event(dictionaryIn(call.next()).value_or(noted));
  const Value* ancestry = noted.find(KovaTouchEventPropertyViewAncestry);
  if (ancestry && !event.find(KovaTouchEventPropertyViewAncestry))
    event.append(KovaTouchEventPropertyViewAncestry, *ancestry);
  return Dictionary(std::move(event));
}

bool KovaTracker::redoTouch(LeftCall call) {
  const Value eventId = call.next();
  KIMoment moment = call.momentAt(call.next());
  const Value kind = call.next();
  const Value visibility = call.next();
  auto event = dictionaryIn(call.next());
  if (!event || !visibility.isInteger()) return false;
  if (!call.changed.empty()) event = changedTouch(*event, std::move(call.changed));
  moment.applyMissingPropertiesFromSessionManager(*sessionManager_, *identityManager_);
  auto message = messageBuilder_->mutableMessageWithEventDictionary(
      *std::move(event), kind.text(), static_cast<int>(visibility.integer()), moment);
  message.set("id", eventId);
  queueManager_->enqueueMessage(std::move(message), call.numbers);
  return true;
}
