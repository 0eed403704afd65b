#pragma once

#include <utility>

#include "platform/foundation/NSException.h"
#include "src/core/KIBailer.h"
#include "src/core/Place.h"

// The one way in which the library runs work that may fail: skip it once the library has bailed, and let no
// exception out of it.
namespace kova {

enum class WhenBailed { Skip, RunAnyway };
enum class OnException { Bail, Report };

// Hands the exception in flight to the bailer. Called inside a catch block.
void registerCurrentException(const Place& place, OnException onException) noexcept;

// A forced unwind is caught by a reference to nothing, which the undefined-behaviour sanitizer must not see.
template <class Work>
__attribute__((no_sanitize("undefined"))) void guarded(const Place& place, Work&& work,
                                                       OnException onException = OnException::Bail,
                                                       WhenBailed whenBailed = WhenBailed::Skip) {
  try {
    if (whenBailed == WhenBailed::Skip && KIBailer::sharedBailer().isBailed()) return;
    std::forward<Work>(work)();
  } catch (const platform::ForcedUnwind&) {
    throw;  // the host ends its own thread in work of its own
  } catch (...) {
    registerCurrentException(place, onException);
  }
}

// The result of `work`; `otherwise` when the library has bailed or `work` throws.
template <class Work, class Result>
Result guarded(const Place& place, Work&& work, Result otherwise) {
  guarded(place, [&] { otherwise = std::forward<Work>(work)(); });
  return otherwise;
}

}  // namespace kova
