// The boundary between the engine, which throws, and a host, which must not see it.

#ifndef VESKA_API_GUARD_H_
#define VESKA_API_GUARD_H_

#include <cerrno>
#include <new>
#include <utility>

#include "api/reporting.h"

// Runs body; whatever it throws is swallowed and failure is returned. The host has heard of the
// reason by then, except when memory ran out: that is reported here.
template <typename Result, typename Body>
Result guarded(Result failure, Body&& body) {
  try {
    return std::forward<Body>(body)();
  } catch (const std::bad_alloc&) {
    reportError("NoMemory", {}, ENOMEM);
  } catch (...) {  // reported where it was thrown
  }
  return failure;
}

// The same for calls without a result.
template <typename Body>
void guarded(Body&& body) {
  guarded(0, [&body] {
    std::forward<Body>(body)();
    return 0;
  });
}

#endif  // VESKA_API_GUARD_H_
