// The tokenizer of the Unicode mode: a sink that cuts text into words.
//
// A word is a run of letters, marks and digits: in ASCII the bytes of the index's masks (a trailing
// byte continues a word only), elsewhere by Unicode category (L*, Nd, Nl; M* continue words). It is
// composed (NFC), case-folded and counted in characters. Characters of no width and meaning, the
// soft hyphen among them, are passed over. A run of a script that is written without blanks gives
// the overlapping pairs of its characters, whatever the word lengths allow, or its one character.

#ifndef VESKA_ANALYZERS_UNICODE_TOKENIZER_H_
#define VESKA_ANALYZERS_UNICODE_TOKENIZER_H_

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "analyzers/unicode/textsource.h"

class CVeskaIndex;

namespace veska::unicode {

// Takes words.
class WordTaker {
 public:
  virtual ~WordTaker() = default;

  // word: zero-terminated, gone after the call. hash: hashText(word). isPair: a pair of characters,
  // or a single one, of a script without blanks.
  virtual void take(const char* word, size_t bytes, uint32_t hash, bool isPair) = 0;
};

// The words that the index's settings let into it, as occurrences in one record.
class IndexingTaker : public WordTaker {
 public:
  IndexingTaker(CVeskaIndex& index, unsigned long recordId) : index_(index), record_(recordId) {}
  void take(const char* word, size_t bytes, uint32_t hash, bool isPair) override;

 private:
  CVeskaIndex& index_;
  unsigned long record_;
};

struct WordLengths {
  size_t min;
  size_t max;
};
// Characters that a word may have, as the index is set.
WordLengths wordLengths(const CVeskaIndex& index);

class Tokenizer : public TextSink {
 public:
  // wildcards: "*" and "?" are letters, as in the terms of a query.
  Tokenizer(const CVeskaIndex& index, WordLengths lengths, WordTaker& taker,
            bool wildcards = false);

  bool text(std::string_view utf8) override;
  // Ends the word. A soft hyphen before it does not join words.
  bool boundary(Break strength) override;
  // Ends the text: its last word counts.
  void finish() { endRun(); }

 private:
  // Longer words are left out, and longer runs of pairs are worked off piece by piece.
  static constexpr size_t kMaxBytes = 2048;
  static constexpr size_t kMaxCharacterBytes = 4;

  static constexpr unsigned char kStarts = 1;
  static constexpr unsigned char kContinues = 2;
  static constexpr unsigned char kMany = 4;  // a byte of a character outside ASCII

  const unsigned char* cutAsciiWords(const unsigned char* at, const unsigned char* end);
  const unsigned char* cutAscii(const unsigned char* at, const unsigned char* end);
  const unsigned char* cutCharacter(const unsigned char* at, const unsigned char* end);
  void append(char32_t character);
  void addLetter(char32_t original, class CharFacts facts);
  void endRun();
  void endWord();
  void endComplexWord();
  void endPairs(bool goesOn);
  void give(const char32_t* characters, size_t count, bool isPair);
  void clear();

  WordTaker& taker_;
  const WordLengths lengths_;
  unsigned char classOf_[256] = {};
  unsigned char folded_[256] = {};

  // The run so far, folded but for its complex characters.
  unsigned char run_[kMaxBytes + 2 * kMaxCharacterBytes];
  size_t length_ = 0;     // bytes
  size_t tailBytes_ = 0;  // of them, those that begin no character
  uint32_t hash_ = 0;     // of a run without complex characters
  bool complex_ = false;
  bool tooLong_ = false;
  bool pairs_ = false;      // a run of a script without blanks
  bool pairGiven_ = false;  // its first character was the second of a pair already
};

}  // namespace veska::unicode

#endif  // VESKA_ANALYZERS_UNICODE_TOKENIZER_H_
