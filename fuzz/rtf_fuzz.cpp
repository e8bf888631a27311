// Rich Text Format through its hooks.

#include "fuzz/fuzzindex.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  veska::fuzz::feed("rtf", data, size);
  return 0;
}
