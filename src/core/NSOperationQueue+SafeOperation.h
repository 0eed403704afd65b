#pragma once

#include <memory>
#include <string_view>
#include <utility>

#include "platform/dispatch/NSBlockOperation.h"
#include "platform/dispatch/NSOperationQueue.h"
#include "platform/dispatch/Scheduler.h"
#include "platform/runtime/Retained.h"
#include "src/core/Guard.h"
#include "src/core/Threads.h"

// Safe operations: queued work that is skipped once the library has bailed and whose exceptions go to the
// bailer.
//
// The functions are templates so that a block and its guard are one object: one allocation a hand-over.

// The process's serial state queue, "com.Kova.serialState", also called the mutation queue: everything that
// changes identity, sessions, queues and stored state runs on it, in the order added. It is a type of its
// own, so that what is handed over to it is known to run there. Made on first use, never destroyed.
class KISerialStateQueue : public platform::NSOperationQueue {};
const std::shared_ptr<KISerialStateQueue>& KOVA_serialStateQueue();

// An operation that runs `block` under the guard. It remembers the place that reports name, not the object.
template <class Block>
platform::NSBlockOperation KOVA_safeBlockOperationWithBlock(
    Block block, const kova::Place& place, kova::OnException onException = kova::OnException::Bail,
    kova::WhenBailed whenBailed = kova::WhenBailed::Skip) {
  return platform::NSBlockOperation([block = std::move(block), place, onException, whenBailed]() mutable {
    kova::guarded(place, block, onException, whenBailed);
  });
}

// Any thread; returns at once.
template <class Block>
void KOVA_addSafeOperationWithBlock(platform::NSOperationQueue& queue, Block block, const kova::Place& place,
                                    kova::OnException onException = kova::OnException::Bail,
                                    kova::WhenBailed whenBailed = kova::WhenBailed::Skip) {
  queue.addOperation(KOVA_safeBlockOperationWithBlock(std::move(block), place, onException, whenBailed));
}

namespace kova {

// Says in the debug log, once, when the main run loop has stood still for five seconds after a call: what
// other threads hand over to it waits for ever then. Any thread.
void tellWhenMainRunLoopStands();
// Writes a debug line, naming `selector`, unless it is called on the main thread.
void warnOffMainThread(std::string_view selector);

}  // namespace kova

// On the main thread the block has run when the call returns; from any other thread it is queued there.
template <class Block>
void KOVA_performSafelyOnMainQueueWithBlock(Block block, const kova::Place& place) {
  if (platform::Scheduler::current().isMainThread()) {
    return kova::guarded(place, [&block] {
      kova::mainThread.isHere();
      block();
    });
  }
  KOVA_addSafeOperationWithBlock(
      *platform::NSOperationQueue::mainQueue(),
      [block = std::move(block)]() mutable {
        kova::mainThread.isHere();
        block();
      },
      place);
  kova::tellWhenMainRunLoopStands();
}

namespace kova {

// The one way in which an object hands over work of its own: block(self) runs under the guard, and `self` is
// kept until then. Reports name its class and `selector`, a literal with the full selector text.
//
//   perform(*mutationQueue_, *this, "sendAll", [](KovaUploader& self) KOVA_ON_MUTATION_QUEUE { self.pass();
//   });
//
// The block is called as it is, so that the compiler proves it to be meant for that thread.
//
// On `queue`: later, and in the order of the calls.
template <class Self, class Block>
void perform(platform::NSOperationQueue& queue, Self& self, const char* selector, Block block) {
  KOVA_addSafeOperationWithBlock(
      queue, [self = platform::retained(self), block = std::move(block)]() mutable { block(*self); },
      Place(self, selector));
}

// The operation that runs block(self) on the mutation queue.
template <class Self, class Block>
platform::NSBlockOperation mutation(Self& self, const char* selector, Block block) {
  return KOVA_safeBlockOperationWithBlock(
      [self = platform::retained(self), block = std::move(block)]() mutable {
        mutationQueue.isHere();
        block(*self);
      },
      Place(self, selector));
}

// The same as above, known to run on the mutation queue.
template <class Self, class Block>
void perform(KISerialStateQueue& queue, Self& self, const char* selector, Block block) {
  queue.addOperation(mutation(self, selector, std::move(block)));
}

// With what is queued next: a queue that sleeps is not woken.
template <class Self, class Block>
void performLazily(KISerialStateQueue& queue, Self& self, const char* selector, Block block) {
  queue.addOperationLazily(mutation(self, selector, std::move(block)));
}

// A few milliseconds later at most; see platform::DispatchQueue::asyncSoon.
template <class Self, class Block>
void performSoon(KISerialStateQueue& queue, Self& self, const char* selector, Block block) {
  queue.addOperationSoon(mutation(self, selector, std::move(block)));
}

// On the main thread it has run when the call returns; from elsewhere it is queued there.
template <class Self, class Block>
void perform(const MainThread&, Self& self, const char* selector, Block block) {
  KOVA_performSafelyOnMainQueueWithBlock([self = platform::retained(self), block = std::move(block)]()
                                             KOVA_ON_MAIN_THREAD mutable { block(*self); },
                                         Place(self, selector));
}

}  // namespace kova
