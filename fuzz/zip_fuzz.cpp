// Archives read by minizip's interface: the directory, names, nested archives.

#include "fuzz/fuzzfile.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  return veska::fuzz::readInput("input.zip", data, size);
}
