// For the few commands that go on after a failure and report it.
#pragma once

#include <optional>
#include <utility>

#include "host/errors.h"

namespace veska {

// Runs f. Result: the failure that ended it, nothing when it came to its end.
template <typename F>
std::optional<HostError> attempt(F&& f) {
  try {
    std::forward<F>(f)();
    return std::nullopt;
  } catch (const HostError& error) {
    return error;
  }
}

}  // namespace veska
