// What `veska index`, `update` and `rebuild` have in common: a run of the indexer and its summary.
#pragma once

#include "cli/commands.h"
#include "host/indexer.h"

namespace veska {

// Result: the exit status.
int runIndexer(const Context& context, RunOptions options);

}  // namespace veska
