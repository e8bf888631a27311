// Mail headers, dates, base64 parts.

#include "fuzz/fuzzfile.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  return veska::fuzz::readInput("input.mbox", data, size);
}
