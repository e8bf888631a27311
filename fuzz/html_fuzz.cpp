// HTML through its hooks.

#include "fuzz/fuzzindex.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  veska::fuzz::feed("html", data, size);
  return 0;
}
