#include "host/signals.h"

#include <signal.h>
#include <unistd.h>

#include "host/errors.h"

namespace veska {
namespace {

volatile sig_atomic_t interrupts = 0;

extern "C" void countInterrupt(int) {
  if (interrupts != 0) ::_exit(kExitInterrupted);
  interrupts = 1;
}

}  // namespace

void catchInterrupts() {
  struct sigaction action = {};
  action.sa_handler = countInterrupt;
  ::sigemptyset(&action.sa_mask);
  action.sa_flags = SA_RESTART;
  ::sigaction(SIGINT, &action, nullptr);
}

bool haltRequested() { return interrupts != 0; }

}  // namespace veska
