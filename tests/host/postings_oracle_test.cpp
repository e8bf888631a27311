// The postings of a real tree, held against a slow count of its words: after an indexing, and after
// an update.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>

#include "host/reader.h"
#include "host/settings.h"
#include "tests/host/smallindex.h"

namespace veska::test {
namespace {

namespace fs = std::filesystem;

// word -> path -> occurrences, at most 256.
using Counts = std::map<std::string, std::map<std::string, uint32_t>>;

bool isPlain(const std::string& text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return c > 0; });
}

void count(const std::string& path, const std::string& text, Counts& counts) {
  std::string word;
  const auto endWord = [&] {
    const Settings settings;
    if (word.size() >= static_cast<size_t>(settings.shortestWord) &&
        word.size() <= static_cast<size_t>(settings.longestWord)) {
      uint32_t& occurrences = counts[word][path];
      occurrences = std::min(occurrences + 1, 256U);
    }
    word.clear();
  };
  for (const char c : text) {
    if (std::isalnum(static_cast<unsigned char>(c)) != 0) {
      word += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    } else {
      endWord();
    }
  }
  endWord();
}

Counts slowCounts(const SmallIndex& files) {
  Counts counts;
  for (const auto& [path, text] : files.texts()) count(path, text, counts);
  return counts;
}

Counts indexedCounts(SmallIndex& files) {
  Counts counts;
  Reader reader(files.open(), files.tables());
  for (WordId word = reader.firstWord(); word != 0; word = reader.nextWord(word)) {
    for (const Posting& posting : reader.postings(word)) {
      counts[reader.wordText(word)][reader.path(posting.file)] = posting.occurrences;
    }
  }
  return counts;
}

TEST(Postings, AreThoseOfASlowCount) {
  SmallIndex files(true);
  size_t taken = 0;
  for (const char* folder : {"api", "docs", "host", "index", "storage"}) {
    for (const auto& entry : fs::directory_iterator(fs::path(VESKA_SOURCE_DIR) / folder)) {
      std::ifstream file(entry.path(), std::ios::binary);
      const std::string text{std::istreambuf_iterator<char>(file), {}};
      if (!isPlain(text)) continue;
      files.write(folder + ("/" + entry.path().filename().string()), text);
      ++taken;
    }
  }
  ASSERT_GT(taken, 50U);
  files.build();
  ASSERT_EQ(indexedCounts(files), slowCounts(files));
  size_t number = 0;
  const auto texts = files.texts();
  for (const auto& [path, text] : texts) {
    const std::string name = fs::relative(path, files.folder());
    if (++number % 5 == 0)
      files.write(name, text.substr(text.size() / 2) + "\nchanged unheardof\n");
    if (number % 7 == 0) files.remove(name);
  }
  files.write("new/file.txt", "unheardof of and again unheardof");
  files.update();
  EXPECT_EQ(indexedCounts(files), slowCounts(files));
}

}  // namespace
}  // namespace veska::test
