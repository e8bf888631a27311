// Ctrl-C: the first asks the run to halt, so that what was finished is saved; the second ends the
// program at once.
#pragma once

namespace veska {

// From here on SIGINT is counted rather than deadly.
void catchInterrupts();

bool haltRequested();

}  // namespace veska
