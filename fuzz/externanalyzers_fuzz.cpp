// The file of external converters.

#include <fstream>

#include "fuzz/fuzzindex.h"
#include "tests/support/exercise.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // An index keeps the converters that it replaces.
  constexpr int kInputsPerIndex = 1000;
  static std::unique_ptr<veska::fuzz::FuzzIndex> owner;
  static int inputs = 0;
  if (inputs++ % kInputsPerIndex == 0) owner = std::make_unique<veska::fuzz::FuzzIndex>();
  const veska::fuzz::FuzzIndex& index = *owner;
  const std::string file = index.get()->configurationDirectory() + "externanalyzers.txt";
  std::ofstream(file, std::ios::binary)
      .write(reinterpret_cast<const char*>(data), static_cast<long>(size));
  veska::test::attempt([&] { vidxCreateAnalyzers(index.get()); });
  if (!index.get()->analyzerNamed("macroman")) std::abort();
  for (const auto& [name, analyzer] : index.get()->analyzers) {
    if (!analyzer || name.find('\n') != std::string::npos) std::abort();
  }
  std::filesystem::remove(file);
  return 0;
}
