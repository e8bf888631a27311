// The base analyzer and the analyzers that are text all through.

#ifndef VESKA_ANALYZERS_ANALYZERS_H_
#define VESKA_ANALYZERS_ANALYZERS_H_

#include "analyzers/fileanalyzer.h"  // IWYU pragma: export

#endif  // VESKA_ANALYZERS_ANALYZERS_H_
