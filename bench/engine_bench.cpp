// The engine's inner loops, each over the same made-up text: what a byte of text, a word looked up,
// a pattern tried and a posting read cost. Rates are what counts; compare them within one run.

#include <benchmark/benchmark.h>
#include <sys/stat.h>

#include <cctype>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "analyzers/analyzers.h"
#include "index/index.h"
#include "storage/bytes.h"

namespace {

constexpr size_t kTextBytes = 60000;
constexpr unsigned kWords = 20000;
constexpr unsigned kFiles = 200;

// Words whose ranks are drawn as in natural text (Zipf).
std::string madeUpText(unsigned seed) {
  std::mt19937 random(seed);
  std::string text;
  while (text.size() < kTextBytes) {
    const double draw = std::generate_canonical<double, 32>(random);
    const auto rank = static_cast<unsigned>(std::pow(kWords, draw));
    text += "word" + std::to_string(rank) + (random() % 8 ? " " : ",\n");
  }
  return text;
}

// An index in a folder of its own, with the texts as the contents of so many files.
class Fixture {
 public:
  Fixture() {
    std::string path = std::filesystem::temp_directory_path() / "veska-bench-XXXXXX";
    if (!mkdtemp(path.data())) std::abort();
    folder_ = path + "/";
    index_ = std::make_unique<CVeskaIndex>(true, folder_);
    for (int byte = 1; byte < 128; ++byte) index_->setValidCharMask(byte, std::isalnum(byte) != 0);
    index_->createAnalyzers();
    index_->newFileLinks();
  }
  ~Fixture() {
    index_.reset();
    std::filesystem::remove_all(folder_);
  }

  CVeskaIndex& index() { return *index_; }

  void addText(std::string text, unsigned long file) {
    index_->analyzerNamed("generic")->indexBuffer(text.data(), text.size(), file, true);
  }

  void addFiles() {
    for (unsigned file = 0; file < kFiles; ++file) addText(madeUpText(file), 36 + 20 * file);
  }

 private:
  std::string folder_;
  std::unique_ptr<CVeskaIndex> index_;
};

void cutAndIndexText(benchmark::State& state) {
  Fixture fixture;
  const std::string text = madeUpText(1);
  unsigned long file = 36;
  for (auto _ : state) fixture.addText(text, file += 20);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}
BENCHMARK(cutAndIndexText);

void lookUpWords(benchmark::State& state) {
  Fixture fixture;
  fixture.addFiles();
  unsigned number = 0;
  for (auto _ : state) {
    const std::string word = "word" + std::to_string(number++ % kWords);
    benchmark::DoNotOptimize(fixture.index().words->lookup(word.c_str()));
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(lookUpWords);

void matchTerm(benchmark::State& state) {
  Fixture fixture;
  const std::string words[] = {"documentation", "word12345", "indexing", "a"};
  size_t next = 0;
  for (auto _ : state)
    benchmark::DoNotOptimize(
        fixture.index().doesWordMatch(words[next++ % std::size(words)].c_str(), "*ent*"));
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(matchTerm);

void matchNames(benchmark::State& state) {
  const char* const name = "/home/ann/documents/letters/2024/to-the-landlord.txt";
  for (auto _ : state) {
    benchmark::DoNotOptimize(termMatch(name, "*.html"));
    benchmark::DoNotOptimize(fileNameMatch(name, "*.txt ^ */old/*"));
  }
  state.SetItemsProcessed(2 * state.iterations());
}
BENCHMARK(matchNames);

void compactLinks(benchmark::State& state) {
  for (auto _ : state) {
    state.PauseTiming();
    auto fixture = std::make_unique<Fixture>();
    fixture->addFiles();
    state.ResumeTiming();
    fixture->index().compressLinks();
    state.PauseTiming();
    fixture.reset();
    state.ResumeTiming();
  }
}
BENCHMARK(compactLinks)->Unit(benchmark::kMillisecond);

void readLinks(benchmark::State& state) {
  Fixture fixture;
  fixture.addFiles();
  fixture.index().compressLinks();
  CTextStorage& words = *fixture.index().words;
  const void* data = words.getData(words.lookup("word1"));
  const uint32_t chunk = loadU32(static_cast<const char*>(data) + WordData::kChunk);
  int64_t links = 0;
  for (auto _ : state) {
    unsigned long cursor = chunk;
    unsigned char count = 0;
    while (fixture.index().links->getFile(cursor, count) != 0) ++links;
  }
  state.SetItemsProcessed(links);
}
BENCHMARK(readLinks);

}  // namespace

BENCHMARK_MAIN();
