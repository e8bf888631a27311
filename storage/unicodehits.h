// Finding the hits of a query in Unicode text.
//
// The search for 8-bit text does the work. It is given a rendering of the text in which every
// character of a word, folded, has a code of as many bytes as any other, so that "?" takes one
// character; words stand apart, and each pair of characters of a script without blanks is a word.
// The query is rendered alike. Places are translated back and forth.

#ifndef VESKA_STORAGE_UNICODEHITS_H_
#define VESKA_STORAGE_UNICODEHITS_H_

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "analyzers/unicode/words.h"
#include "storage/hitsearch.h"

class CVeskaIndex;

class UnicodeHits : public HitFinder {
 public:
  // index outlives the search. text: what places are pointers into; it may change afterwards.
  UnicodeHits(const CVeskaIndex& index, std::string_view text, std::string query,
              int defaultDistance);

  const std::string& query() const override { return query_; }
  // start within a word: the search begins with the next one.
  const char* forwards(const char* start, int maxWords) override;
  const char* backwards(const char* start, int maxWords) override;
  void settle() override { search_->settle(); }

 private:
  struct Word {
    uint32_t place;     // in the text
    uint32_t rendered;  // in its rendering
  };

  void renderText(std::string_view text);
  void renderWord(size_t place, const char32_t* characters, size_t count);
  void renderPairs(std::string_view text, const veska::unicode::WordRun& run);
  std::string renderQuery();
  std::string renderTerm(std::string_view term);
  std::string renderPairTerm(const std::u32string& characters);
  bool isTermCharacter(char32_t character) const;
  uint32_t codeOf(char32_t character, bool add);
  void appendCode(uint32_t code, std::string& to) const;
  const char* renderedFrom(const char* start) const;
  const char* placeOf(const char* rendered) const;

  const veska::unicode::WordScanner scanner_;
  const char* const begin_;
  const char* const end_;
  const std::string query_;

  uint32_t asciiCodes_[128] = {};
  std::unordered_map<char32_t, uint32_t> codes_;
  uint32_t lastCode_ = 0;  // 0: a character that the text does not hold
  WordClasses classes_;
  std::string rendered_;
  std::vector<Word> words_;
  std::unique_ptr<HitSearch> search_;
};

// The counterparts of what the classes of bytes answer in 8-bit text.
//
// Does the word at text match the term at pattern, which ends at the first character that no term
// holds? atStart: its first character must begin a word. Both texts are zero-terminated.
bool unicodeTermMatches(const CVeskaIndex& index, const char* text, const char* pattern,
                        bool atStart);
// Bytes of the word, or the pair of characters, that begins at offset; 0 when none does.
size_t unicodeTokenLength(const CVeskaIndex& index, std::string_view text, size_t offset);
// Characters of the word at hit; of a pair, the fewest that a word may have.
size_t unicodeWordCharacters(const CVeskaIndex& index, std::string_view text, const char* hit);

#endif  // VESKA_STORAGE_UNICODEHITS_H_
