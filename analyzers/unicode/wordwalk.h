// The words of a text in memory, folded as the index has them, each with its place: what a host
// needs to tell where words stand, and in what order.

#ifndef VESKA_ANALYZERS_UNICODE_WORDWALK_H_
#define VESKA_ANALYZERS_UNICODE_WORDWALK_H_

#include <string>
#include <string_view>

#include "analyzers/unicode/words.h"
#include "api/veskalib.h"

namespace veska::unicode {

class WordWalk {
 public:
  // index and text outlive the object. wildcards: "*" and "?" are letters, as in terms of a query.
  WordWalk(const CVeskaIndex& index, std::string_view text, bool wildcards);

  // Tells every word in the order of the text.
  void run(VeskaWordCallBack use, void* context);

 private:
  // Longer ones are no words to the tokenizer either.
  static constexpr size_t kMaxBytes = 2048;
  static constexpr size_t kMaxCharacterBytes = 4;

  static constexpr unsigned char kStarts = 1;
  static constexpr unsigned char kContinues = 2;
  static constexpr unsigned char kMany = 4;  // a byte of a character outside ASCII

  size_t asciiWord(size_t begin);
  size_t otherRun(size_t begin);
  bool foldSimple(const WordRun& run);
  void wordOf(const WordRun& run);
  void pairsOf(const WordRun& run);
  std::u32string charactersOf(size_t begin, size_t end) const;
  void give(std::u32string_view characters, size_t begin, size_t end, int shape);

  const std::string_view text_;
  const WordScanner scanner_;
  unsigned char classOf_[256] = {};
  unsigned char folded_[128] = {};
  VeskaWordCallBack use_ = nullptr;
  void* context_ = nullptr;
  char word_[kMaxBytes + kMaxCharacterBytes + 1];
};

}  // namespace veska::unicode

#endif  // VESKA_ANALYZERS_UNICODE_WORDWALK_H_
