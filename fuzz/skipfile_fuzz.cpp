// The file of skip words. One first byte of 16 has its bytes repeated until they fill more than one
// of the reader's blocks, so that words lie across.

#include <fstream>

#include "fuzz/fuzzindex.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static veska::fuzz::FuzzIndex index;
  const std::string file = index.get()->configurationDirectory() + "skipfile.txt";
  vidxSetSkipFilePath(index.get(), file.c_str());
  constexpr size_t kMoreThanABlock = 70000;
  const size_t times = size != 0 && data[0] % 16 == 8 ? kMoreThanABlock / size : 1;
  {
    std::ofstream out(file, std::ios::binary);
    for (size_t i = 0; i < times; ++i) {
      out.write(reinterpret_cast<const char*>(data), static_cast<long>(size));
    }
  }
  vidxIndexExclusions(index.get());
  CTextStorage* words = vidxGetSkipWords(index.get());
  for (auto id = vtsGetFirst(words); id != 0; id = vtsGetNext(words, id)) {
    if (vtsLookup(words, vtsGetText(words, id)) != id) std::abort();
  }
  std::filesystem::remove(file);
  return 0;
}
