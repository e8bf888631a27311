// TAR headers and what their sizes lead to.

#include "fuzz/fuzzfile.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  return veska::fuzz::readInput("input.tar", data, size);
}
