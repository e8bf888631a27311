// Compressed data, taken as a TAR archive once it is out.

#include "fuzz/fuzzfile.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  return veska::fuzz::readInput("input.tgz", data, size);
}
