// The tokenizer against a slow one that asks utf8proc about every character, on generated text cut
// into pieces anywhere; and the cases that people meet.

#include <gtest/gtest.h>
#include <unistd.h>
#include <utf8proc.h>

#include <algorithm>
#include <cstdlib>
#include <random>

#include "analyzers/unicode/characters.h"
#include "analyzers/unicode/charset.h"
#include "analyzers/unicode/tokenizer.h"
#include "analyzers/unicode/words.h"
#include "api/veskalib.h"
#include "index/index.h"
#include "storage/hashentries.h"
#include "tests/support/generated.h"
#include "tests/support/tempdir.h"

namespace veska::unicode {
namespace {

using Words = std::vector<std::string>;

class Collector : public WordTaker {
 public:
  void take(const char* word, size_t bytes, uint32_t hash, bool) override {
    EXPECT_EQ(std::string(word), std::string(word, bytes));
    EXPECT_EQ(hash, hashText(word)) << word;
    words.push_back(word);
  }
  Words words;
};

class UnicodeTokenizer : public testing::Test {
 protected:
  UnicodeTokenizer() : index(true, folder.path() + "/") {
    for (int c = '0'; c <= 'z'; ++c)
      if (std::isalnum(c)) index.setValidCharMask(c, true);
    index.setValidTrailingMask('_', true);
  }

  Words cut(std::string_view text, WordLengths lengths = {1, 100}) {
    Collector collector;
    Tokenizer tokenizer(index, lengths, collector);
    tokenizer.text(text);
    tokenizer.finish();
    return collector.words;
  }

  test::TempDir folder;
  CVeskaIndex index;
};

// --- The slow one ------------------------------------------------------------------------------

std::vector<char32_t> characters(std::string_view text) {
  std::vector<char32_t> result;
  utf8proc_int32_t c = 0;
  for (size_t at = 0; at < text.size();) {
    const auto used = utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(text.data()) + at,
                                       static_cast<utf8proc_ssize_t>(text.size() - at), &c);
    if (used <= 0) {
      ADD_FAILURE() << "invalid UTF-8";
      break;
    }
    result.push_back(static_cast<char32_t>(c));
    at += static_cast<size_t>(used);
  }
  return result;
}

std::string utf8(const std::u32string& text) {
  std::string result;
  for (const char32_t c : text) appendUtf8(result, c);
  return result;
}

std::string slowFold(const std::u32string& text) {
  const std::string bytes = utf8(text);
  utf8proc_uint8_t* folded = nullptr;
  utf8proc_map(reinterpret_cast<const utf8proc_uint8_t*>(bytes.data()),
               static_cast<utf8proc_ssize_t>(bytes.size()), &folded,
               static_cast<utf8proc_option_t>(UTF8PROC_STABLE | UTF8PROC_COMPOSE |
                                              UTF8PROC_CASEFOLD | UTF8PROC_IGNORE));
  std::string result(reinterpret_cast<char*>(folded));
  std::free(folded);
  return result;
}

enum class Sort { kNone, kLetter, kMark, kIgnored };

bool hasNoBlanks(char32_t c) {
  return (c >= 0x3041 && c <= 0x309F) || (c >= 0x30A1 && c <= 0x30FA) || c == 0x30FC ||
         (c >= 0x4E00 && c <= 0x9FFF) || (c >= 0x0E01 && c <= 0x0E3A) ||
         (c >= 0x0E40 && c <= 0x0E4E);
}

Sort sortOf(char32_t c, bool inWord) {
  if (c < 0x80)
    return std::isalnum(static_cast<int>(c)) || (inWord && c == '_') ? Sort::kLetter : Sort::kNone;
  const std::string category = utf8proc_category_string(static_cast<utf8proc_int32_t>(c));
  if (c == 0xAD || c == 0x200D) return Sort::kIgnored;
  if (category[0] == 'L' || category == "Nd" || category == "Nl") return Sort::kLetter;
  return category[0] == 'M' ? Sort::kMark : Sort::kNone;
}

void endSlowRun(std::u32string& run, bool pairs, WordLengths lengths, Words& words) {
  const std::string folded = slowFold(run);
  run.clear();
  const auto parts = characters(folded);
  if (parts.empty()) return;
  if (!pairs) {
    if (parts.size() >= lengths.min && parts.size() <= lengths.max) words.push_back(folded);
  } else if (parts.size() == 1) {
    words.push_back(folded);
  } else {
    for (size_t i = 0; i + 1 < parts.size(); ++i) words.push_back(utf8({parts[i], parts[i + 1]}));
  }
}

Words slowCut(std::string_view text, WordLengths lengths) {
  Words words;
  std::u32string run;
  bool pairs = false;
  for (const char32_t c : characters(text)) {
    const Sort sort = sortOf(c, !run.empty() && !pairs);
    if (sort == Sort::kIgnored) continue;
    if (sort == Sort::kNone || (sort == Sort::kLetter && !run.empty() && hasNoBlanks(c) != pairs))
      endSlowRun(run, pairs, lengths, words);
    if (sort == Sort::kNone || (sort == Sort::kMark && run.empty())) continue;
    if (run.empty()) pairs = hasNoBlanks(c);
    run += c;
  }
  endSlowRun(run, pairs, lengths, words);
  return words;
}

std::string generatedText(std::mt19937& random) {
  static const std::u32string kSome =
      U"aabcXYZ019_ ,.-\n\u00E9\u00C9\u00DF\u0130\u0301\u0308\u0323\u0327\u0345\u00AD\u200D\u200B"
      U"\u0416\u0439\u0451\u03A3\u03C2\u03B1\u0915\u094D\u0937\u093F\uD55C\u1112\u1161\u11AB"
      U"\u6771\u4EAC\u304B\u3099\u30AB\u30FC\u0E17\u0E35\u0E48\u0E01\u212A\u2160\u00B2\u2019\u00A0"
      U"\U0001D400\U00010400\U0001F600\u0644\u064E\u05D0\u05B0";
  std::string text;
  const size_t length = random() % 200;
  for (size_t i = 0; i < length; ++i) appendUtf8(text, kSome[random() % kSome.size()]);
  return text;
}

TEST_F(UnicodeTokenizer, CutsGeneratedTextAsTheSlowOneDoes) {
  constexpr unsigned kSeed = 20240611;
  std::mt19937 random(kSeed);
  for (int round = 0; round < 4000; ++round) {
    const std::string text = generatedText(random);
    const WordLengths lengths{1 + random() % 3, 2 + random() % 20};
    Collector collector;
    Tokenizer tokenizer(index, lengths, collector);
    for (size_t at = 0; at < text.size();) {
      size_t end = std::min(text.size(), at + 1 + random() % 40);
      while (end < text.size() && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) ++end;
      tokenizer.text(std::string_view(text).substr(at, end - at));
      at = end;
    }
    tokenizer.finish();
    ASSERT_EQ(collector.words, slowCut(text, lengths))
        << "seed " << kSeed << " round " << round << ": " << text;
  }
}

// The places that contents searches use agree with the words that are indexed.
TEST_F(UnicodeTokenizer, ScannerFindsTheSameRuns) {
  std::mt19937 random(7);
  const WordScanner scanner(index);
  for (int round = 0; round < 1000; ++round) {
    const std::string text = generatedText(random);
    Words words;
    WordRun run;
    for (size_t at = 0; scanner.next(text, at, run); at = run.end) {
      ASSERT_GT(run.end, run.begin);
      const Words ofRun = cut(text.substr(run.begin, run.end - run.begin));
      words.insert(words.end(), ofRun.begin(), ofRun.end());
    }
    ASSERT_EQ(words, cut(text)) << "round " << round << ": " << text;
  }
}

TEST_F(UnicodeTokenizer, WalkTellsTheSameWordsWithTheirPlaces) {
  static constexpr WordLengths kAny = {1, ~size_t{0}};
  struct Told {
    const std::string text;
    Words words;
    size_t lastBegin = 0;
  };
  const auto take = [](void* context, const char* word, unsigned long begin, unsigned long end,
                       int shape) {
    Told& told = *static_cast<Told*>(context);
    ASSERT_LE(told.lastBegin, begin);
    ASSERT_LT(begin, end);
    told.lastBegin = begin;
    told.words.push_back(word);
    // A mark that has strayed into such a run may begin one of its pairs.
    const std::string part = told.text.substr(begin, end - begin);
    if (sortOf(characters(part)[0], false) != Sort::kLetter) return;
    const Words there = slowCut(part, kAny);
    EXPECT_NE(std::find(there.begin(), there.end(), word), there.end()) << word;
    const size_t count = characters(word).size();
    EXPECT_TRUE(shape == VESKA_WORD || count == (shape == VESKA_SINGLE ? 1 : 2)) << word;
    EXPECT_TRUE(shape != VESKA_WORD || !hasNoBlanks(characters(word)[0])) << word;
  };
  std::mt19937 random(11);
  for (int round = 0; round < 2000; ++round) {
    Told told{generatedText(random), {}};
    vidxWalkWords(&index, told.text.data(), told.text.size(), false, take, &told);
    ASSERT_EQ(told.words, slowCut(told.text, kAny)) << "round " << round << ": " << told.text;
  }
}

TEST_F(UnicodeTokenizer, CutsWhatPeopleWrite) {
  const std::pair<const char*, Words> cases[] = {
      {"Café CAFE\u0301", {"café", "café"}},
      {"ΟΔΟΣ οδός", {"οδοσ", "οδόσ"}},
      {"don't don’t", {"don", "t", "don", "t"}},
      {"in\u00ADter na\uFEFFtional", {"inter", "national"}},
      {"東京都tower2回", {"東京", "京都", "tower2", "回"}},
      {"か\u3099ぎ", {"がぎ"}},
  };
  for (const auto& [text, words] : cases) EXPECT_EQ(cut(text), words) << text;
}

TEST_F(UnicodeTokenizer, BoundsWordsAndRunsOfAnyLength) {
  const WordLengths any{1, ~size_t{0}};
  EXPECT_EQ(cut(std::string(1 << 20, 'x') + " end", any), Words{"end"});
  EXPECT_EQ(cut("a" + test::repeated("\u0301", 100000) + " end", any), Words{"end"});

  Words pairs;
  for (int i = 0; i + 1 < 3000; ++i) pairs.push_back(i % 2 ? "京東" : "東京");
  EXPECT_EQ(cut(test::repeated("東京", 1500), any), pairs);
}

TEST(UnicodeMarks, AreTakenOffWhereTheyAreAccents) {
  const std::pair<const char*, const char*> cases[] = {
      {"café", "cafe"},
      {"łódź", "lodz"},
      {"smørrebrød", "smorrebrod"},
      {"οδόσ", "οδοσ"},
      {"ёлка", "елка"},
      {"мой", "мой"},
      {"がぎ", "がぎ"},
      {"\u0939\u093F\u0928\u094D\u0926\u0940", "\u0939\u093F\u0928\u094D\u0926\u0940"},
  };
  for (const auto& [word, base] : cases) EXPECT_EQ(strippedText(word), base);
}

}  // namespace
}  // namespace veska::unicode
