// Finding the hits of a query in a text, forwards and backwards.

#ifndef VESKA_STORAGE_HITSEARCH_H_
#define VESKA_STORAGE_HITSEARCH_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "storage/hitfinder.h"
#include "storage/hitquery.h"

class HitSearch final : public HitFinder {
 public:
  // classes and text outlive the search; text is shorter than 4 GiB, zero-terminated at
  // its end, and does not change where a search still looks.
  HitSearch(const WordClasses& classes, std::string_view text, std::string query,
            int defaultDistance);

  const std::string& query() const override { return query_.text(); }

  // The first hit whose word is among the first maxWords + 1 words from start on (0: no bound).
  // start may lie inside a word: what is left of the word counts as one. Result: the text's end
  // when there is none.
  const char* forwards(const char* start, int maxWords) override;

  // The last hit whose word begins before start. Result: null when there is none; the text's end
  // when it is not among the maxWords + 1 words before start.
  const char* backwards(const char* start, int maxWords) override;

  // Settles for every word of the text whether it is a hit; later searches only look it up.
  void settle() override;

 private:
  bool isHit(const char* word);
  const char* firstWord(const char* from) const;
  const char* runEnd(const char* at) const;
  const char* wordBefore(const char* at) const;
  bool skipToRun(const char*& at) const;

  const WordClasses& classes_;
  const char* const begin_;
  const char* const end_;
  HitQuery query_;
  TermMatcher matcher_;
  std::vector<uint32_t> matched_;
  size_t bytesTested_ = 0;
  bool settled_ = false;
  std::vector<uint64_t> hits_;      // a bit for each byte of the text: a word from here is a hit
  std::vector<uint64_t> wordHits_;  // the same for the words proper, which begin outside a word
};

#endif  // VESKA_STORAGE_HITSEARCH_H_
