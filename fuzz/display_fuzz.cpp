// Plain text through the tokenizer and the display cleaner.

#include "fuzz/fuzzindex.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  veska::fuzz::feed("generic", data, size);
  return 0;
}
