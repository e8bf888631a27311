// Cutting a block into words, in place: a word is folded into the space that it occupies, and only
// a zero is written behind it.

#include <algorithm>
#include <cstring>

#include "analyzers/fileanalyzer.h"
#include "api/lowercase.h"
#include "index/index.h"
#include "storage/hashentries.h"

namespace {

constexpr unsigned kDefaultMaxWord = 101;

bool inMask(const bool (&mask)[256], char c) { return mask[static_cast<unsigned char>(c)]; }

}  // namespace

unsigned long CFileAnalyzer::indexBuffer(char* buf, unsigned long len, unsigned long parentId,
                                         bool) {
  convertRawBuffer(buf, len);
  const auto minLength = static_cast<unsigned>(index->minWordLength);
  const unsigned maxLength =
      index->maxWordLength ? static_cast<unsigned>(index->maxWordLength) + 1 : kDefaultMaxWord;
  char* const end = buf + len;
  char* bufferStart = buf;
  char* cursor = buf;
  char* wordStart = buf;
  char* wordEnd = buf;
  bool controlBefore = false;
  bool zeroSkipped = false;
  while (cursor < end) {
    char c = *cursor;
    // Text of 16-bit units reads as one word; two zeros in a row end it.
    if (c == 0 && wordEnd != wordStart && !zeroSkipped && cursor + 1 < end) {
      zeroSkipped = true;
      c = *++cursor;
    }
    if (useCharacterHooks &&
        checkIndexCharacter(&c, &cursor, &wordStart, &wordEnd, &bufferStart, len))
      continue;
    const bool inWord = wordEnd != wordStart;
    if (inMask(index->validCharMask, c) || (inWord && inMask(index->validTrailingMask, c))) {
      *wordEnd++ = static_cast<char>(foldByte(c));
      ++cursor;
      zeroSkipped = false;
      continue;
    }
    const bool control = inMask(index->binaryCharMask, c);
    if (!inWord) {
      controlBefore |= control;
      wordStart = wordEnd = ++cursor;
      continue;
    }
    // A word framed by control characters is binary noise. The character that ended the word goes
    // through the whole loop again.
    const auto length = static_cast<unsigned long>(wordEnd - wordStart);
    if (!(controlBefore && control) && length >= minLength && length <= maxLength) {
      *wordEnd = 0;
      index->indexWord(wordStart, parentId);
    }
    zeroSkipped = false;
    controlBefore = control;
    wordStart = wordEnd = cursor;
  }
  if (wordEnd == wordStart) return len;
  const size_t rest =
      std::min<size_t>(static_cast<size_t>(wordEnd - wordStart), sizeof index->pendingWord - 1);
  std::memcpy(index->pendingWord, wordStart, rest);
  index->pendingWord[rest] = 0;
  return std::strlen(index->pendingWord);
}
