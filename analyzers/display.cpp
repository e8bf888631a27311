// Display text. A block is copied character by character: what can be shown stays, runs of blanks
// become one space, the line ends of all systems become line feeds, lines are wrapped, and what is
// plainly binary is taken back out.

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>

#include "analyzers/fileanalyzer.h"
#include "analyzers/inputfile.h"
#include "api/reporting.h"
#include "index/index.h"

namespace {

// Deliberate: this byte always makes a line feed.
constexpr unsigned char kLineByte = 0xE3;
// More bytes in a row from kHighByte on that cannot be shown are binary data.
constexpr unsigned char kHighByte = 0x80;
constexpr int kMaxHighRun = 3;

// The text of one block as it grows.
class BlockText {
 public:
  // room: bytes of out without the terminating zero.
  BlockText(const CVeskaIndex& index, char* out, unsigned long room, int lineWidth)
      : index_(index), out_(out), room_(room), lineWidth_(lineWidth) {}

  bool full() const { return length_ == room_; }
  char lastWritten() const { return length_ == 0 ? '\0' : out_[length_ - 1]; }

  // lineFeedFollows: the next byte of the input is a line feed.
  void add(unsigned char c, bool lineFeedFollows) {
    const bool viewable = index_.validViewableMask[c];
    if (c == '\n' || c == '\r' || c == kLineByte) {
      takeBackJunk();
      if (c != '\r' || !lineFeedFollows) endLine();
    } else if (viewable || index_.nonAlphaCharMask[c]) {
      copy(c, viewable);
    } else {
      takeBackJunk();
      if (copied_ != 0) writeSpace();
    }
    countNoise(c, viewable);
    wrap();
  }

  // Result: bytes written.
  unsigned long finish() {
    out_[length_] = '\0';
    // Deliberate: the last separator of a block ends a line; without any, the first byte gives way.
    if (length_ != 0) out_[lastSpace_] = '\n';
    return length_;
  }

 private:
  void write(char c) { out_[length_++] = c; }

  void copy(unsigned char c, bool viewable) {
    if (c == ' ' || c == '\t') {
      writeSpace();
      return;
    }
    write(static_cast<char>(c));
    ++copied_;
    if (!viewable) {
      junk_ = true;
    } else if (!index_.nonAlphaCharMask[c]) {
      junk_ = false;
    }
  }

  void writeSpace() {
    lastSpace_ = length_;
    write(' ');
    copied_ = 0;
    junk_ = false;
  }

  void endLine() {
    lastSpace_ = length_;
    write('\n');
    lineStart_ = length_;
    copied_ = 0;
  }

  // Removes the non-letters that end the text when some of them could not be shown, but never more
  // than what came after the last separator.
  void takeBackJunk() {
    if (!junk_) return;
    junk_ = false;
    while (copied_ != 0 && index_.nonAlphaCharMask[static_cast<unsigned char>(out_[length_ - 1])]) {
      --length_;
      --copied_;
    }
  }

  void countNoise(unsigned char c, bool viewable) {
    const bool noise = c >= kHighByte && !viewable;
    highRun_ = noise ? std::min(highRun_ + 1, kMaxHighRun + 1) : 0;
    if (highRun_ <= kMaxHighRun) return;
    while (length_ != 0 && static_cast<unsigned char>(out_[length_ - 1]) >= kHighByte) {
      --length_;
      if (copied_ != 0) --copied_;
    }
  }

  // A line without a space stays as long as it is.
  void wrap() {
    if (lineWidth_ <= 0 || length_ - lineStart_ <= static_cast<unsigned long>(lineWidth_)) return;
    if (lastSpace_ < lineStart_ || out_[lastSpace_] != ' ') return;
    out_[lastSpace_] = '\n';
    lineStart_ = lastSpace_ + 1;
  }

  const CVeskaIndex& index_;
  char* const out_;
  const unsigned long room_;
  const int lineWidth_;
  unsigned long length_ = 0;
  unsigned long lineStart_ = 0;
  unsigned long lastSpace_ = 0;  // the last space or line feed
  unsigned long copied_ = 0;     // characters since the last separator
  bool junk_ = false;            // the text ends in non-letters, some of which cannot be shown
  int highRun_ = 0;
};

struct FreeDeleter {
  void operator()(char* block) const { std::free(block); }
};
using Block = std::unique_ptr<char, FreeDeleter>;

// Gives back what the text did not need.
Block shrunk(Block block, size_t bytes) {
  char* smaller = static_cast<char*>(std::realloc(block.get(), bytes));
  if (smaller == nullptr) return block;
  static_cast<void>(block.release());
  return Block(smaller);
}

}  // namespace

unsigned long CFileAnalyzer::stripBuffer(char* in, unsigned long inLen, char* out,
                                         unsigned long outSize, int lineWidth, bool option,
                                         bool /*firstBlock*/, int* state) {
  if (outSize == 0) return 0;
  out[0] = '\0';
  if (inLen == 0 || outSize == 1) return 0;
  convertRawBuffer(in, inLen);

  BlockText text(*index, out, outSize - 1, lineWidth);
  char* cursor = in;
  unsigned long remaining = inLen - 1;
  bool mayDropZero = false;  // text in 16-bit units: one zero goes after each character
  for (;;) {
    unsigned char c = static_cast<unsigned char>(*cursor);
    if (c == 0 && mayDropZero) {
      mayDropZero = false;
    } else if (useCharacterHooks &&
               checkStripCharacter(&c, &cursor, &remaining, text.lastWritten(), option, state)) {
      mayDropZero = false;
    } else {
      text.add(c, remaining != 0 && cursor[1] == '\n');
      mayDropZero = index->validViewableMask[c];
    }
    if (remaining == 0 || text.full()) return text.finish();
    ++cursor;
    --remaining;
  }
}

char* CFileAnalyzer::fillDisplayBuffer(const char* path, unsigned long /*fileId*/,
                                       unsigned long maxBytes, int lineWidth, bool option) {
  InputFile file(path);
  if (!file.isOpen()) throwVeskaError("CannotOpenContentsFile", path, errno);
  return displayBlocks([&file](char* to, size_t bytes) { return file.read(to, bytes); }, path,
                       "DecodingGeneric", maxBytes, lineWidth, option);
}

char* CFileAnalyzer::displayBlocks(const BlockReader& readBlock, const char* path,
                                   const char* statusKey, unsigned long maxBytes, int lineWidth,
                                   bool option) {
  Block result(maxBytes == ~0UL ? nullptr : static_cast<char*>(std::malloc(maxBytes + 1)));
  if (!result) throwVeskaError("NoMemory", "");

  const auto input = std::make_unique_for_overwrite<char[]>(kBlockBytes);
  const auto work = std::make_unique_for_overwrite<char[]>(kDisplayBlockBytes);
  unsigned long length = 0;
  unsigned long kept = 0;  // bytes that a hook wants to see again in front of the next block
  int state = 0;
  bool firstBlock = true;
  time_t lastReport = std::time(nullptr);
  while (length < maxBytes) {
    const size_t read = readBlock(input.get() + kept, kBlockBytes - kept);
    if (read == 0) break;
    index->pendingWord[0] = '\0';
    const unsigned long made = stripBuffer(input.get(), kept + read, work.get(), kDisplayBlockBytes,
                                           lineWidth, option, firstBlock, &state);
    const unsigned long taken = std::min(made, maxBytes - length);
    std::memcpy(result.get() + length, work.get(), taken);
    length += taken;
    firstBlock = false;

    const time_t now = std::time(nullptr);
    if (now > lastReport) {
      if (!setStatus(statusKey, path)) break;
      lastReport = now;
    }
    kept = strnlen(index->pendingWord, sizeof index->pendingWord);
    std::memcpy(input.get(), index->pendingWord, kept);
  }
  index->pendingWord[0] = '\0';
  result.get()[length] = '\0';
  return shrunk(std::move(result), length + 1).release();
}
