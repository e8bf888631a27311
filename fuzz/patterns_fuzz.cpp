// The matchers of names and terms: the first line of the input is the name, the rest the pattern.
// Short ones are held against the slow and obvious matchers.

#include "fuzz/fuzzindex.h"
#include "tests/support/slowmatch.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static veska::fuzz::FuzzIndex index;
  const std::string input(reinterpret_cast<const char*>(data), size);
  const size_t line = std::min(input.find('\n'), size);
  const std::string name = input.substr(0, line);
  const std::string pattern = line < size ? input.substr(line + 1) : "";
  const char *n = name.c_str(), *p = pattern.c_str();

  const bool term = termMatch(n, p), whole = vFileNameMatch(n, p);
  const bool folder = vidxDirMatch(index.get(), n, p), word = vidxDoesWordMatch(index.get(), n, p);
  if (size > 16) return 0;
  if (term != veska::test::slowTermMatch(n, p)) std::abort();
  if (whole != veska::test::slowNameMatch(n, p)) std::abort();
  if (*n && folder != veska::test::slowDirMatch(n, p)) std::abort();
  if (word != veska::test::slowWordMatch(n, p, "*?")) std::abort();
  return 0;
}
