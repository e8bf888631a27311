// Cutting a block into words, in place: a word is folded into the space that it occupies, and only
// a zero is written behind it. There are two loops with the same results: one that asks the hooks
// about every character, and one for text without hooks, which does no more for a byte than the
// classes, the folding and the hash need.

#include <algorithm>
#include <cstring>

#include "analyzers/fileanalyzer.h"
#include "api/lowercase.h"
#include "index/index.h"
#include "storage/hashentries.h"

namespace {

constexpr unsigned kDefaultMaxWord = 101;

// What a byte is to the tokenizer.
constexpr unsigned char kValid = 1;
constexpr unsigned char kTrailing = 2;
constexpr unsigned char kControl = 4;
constexpr unsigned char kInWord = kValid | kTrailing;

struct ByteClasses {
  explicit ByteClasses(const CVeskaIndex& index) {
    for (int byte = 0; byte < 256; ++byte) {
      of[byte] = static_cast<unsigned char>((index.validCharMask[byte] ? kValid : 0) |
                                            (index.validTrailingMask[byte] ? kTrailing : 0) |
                                            (index.binaryCharMask[byte] ? kControl : 0));
      folded[byte] = foldByte(static_cast<char>(byte));
      foldsToZero |= byte != 0 && folded[byte] == 0 && (of[byte] & kInWord) != 0;
    }
  }

  unsigned char of[256];
  unsigned char folded[256];
  // A byte that words may hold folds to zero, so that words end inside their text.
  bool foldsToZero = false;
};

// Words of which lengths go to which record.
struct WordSink {
  WordSink(CVeskaIndex& owner, unsigned long recordId)
      : index(owner),
        record(recordId),
        minLength(static_cast<unsigned>(owner.minWordLength)),
        maxLength(owner.maxWordLength ? static_cast<unsigned>(owner.maxWordLength) + 1
                                      : kDefaultMaxWord) {}

  bool takes(unsigned long length) const { return length >= minLength && length <= maxLength; }

  CVeskaIndex& index;
  unsigned long record;
  unsigned minLength;
  unsigned maxLength;
};

// Leaves an unfinished word to the index. Result: its length, len when there is none.
unsigned long keepRest(CVeskaIndex& index, const char* wordStart, const char* wordEnd,
                       unsigned long len) {
  if (wordEnd == wordStart) return len;
  const size_t rest =
      std::min<size_t>(static_cast<size_t>(wordEnd - wordStart), sizeof index.pendingWord - 1);
  std::memcpy(index.pendingWord, wordStart, rest);
  index.pendingWord[rest] = 0;
  return std::strlen(index.pendingWord);
}

unsigned long cutPlainText(char* buf, unsigned long len, const ByteClasses& classes,
                           const WordSink& sink) {
  auto* const end = reinterpret_cast<unsigned char*>(buf) + len;
  auto* cursor = reinterpret_cast<unsigned char*>(buf);
  unsigned char framed = 0;
  for (;;) {
    while (cursor != end && !(classes.of[*cursor] & kValid)) framed |= classes.of[*cursor++];
    if (cursor == end) return len;
    unsigned char* const wordStart = cursor;
    unsigned char* wordEnd = cursor;
    uint32_t hash = 0;
    for (;;) {
      while (cursor != end && (classes.of[*cursor] & kInWord)) {
        const unsigned char folded = classes.folded[*cursor++];
        hash = hashStep(hash, folded);
        *wordEnd++ = folded;
      }
      if (end - cursor < 2 || *cursor != 0 || !(classes.of[cursor[1]] & kInWord)) break;
      ++cursor;
    }
    if (cursor == end)
      return keepRest(sink.index, reinterpret_cast<char*>(wordStart),
                      reinterpret_cast<char*>(wordEnd), len);
    // The character that ends a word stepped over one zero like any other.
    if (*cursor == 0 && end - cursor >= 2) ++cursor;
    const unsigned char control = classes.of[*cursor] & kControl;
    const auto length = static_cast<size_t>(wordEnd - wordStart);
    if (!(framed & control) && sink.takes(length)) {
      *wordEnd = 0;
      sink.index.indexWord(reinterpret_cast<char*>(wordStart), length, hash, sink.record);
    }
    framed = control;
  }
}

}  // namespace

unsigned long CFileAnalyzer::indexBuffer(char* buf, unsigned long len, unsigned long parentId,
                                         bool) {
  convertRawBuffer(buf, len);
  const ByteClasses classes(*index);
  const WordSink sink(*index, parentId);
  if (!useCharacterHooks && !classes.foldsToZero) return cutPlainText(buf, len, classes, sink);
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
    const unsigned char byteClass = classes.of[static_cast<unsigned char>(c)];
    const bool inWord = wordEnd != wordStart;
    if (byteClass & (inWord ? kInWord : kValid)) {
      *wordEnd++ = static_cast<char>(foldByte(c));
      ++cursor;
      zeroSkipped = false;
      continue;
    }
    const bool control = byteClass & kControl;
    if (!inWord) {
      controlBefore |= control;
      wordStart = wordEnd = ++cursor;
      continue;
    }
    // A word framed by control characters is binary noise. The character that ended the word goes
    // through the whole loop again.
    if (!(controlBefore && control) &&
        sink.takes(static_cast<unsigned long>(wordEnd - wordStart))) {
      *wordEnd = 0;
      index->indexWord(wordStart, parentId);
    }
    zeroSkipped = false;
    controlBefore = control;
    wordStart = wordEnd = cursor;
  }
  return keepRest(*index, wordStart, wordEnd, len);
}
