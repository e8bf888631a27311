#include "analyzers/unicode/displaywriter.h"

#include <algorithm>
#include <string>

namespace veska::unicode {
namespace {

constexpr size_t kTabColumns = 8;
constexpr size_t kMostIndent = 64;
// More marks on one character are left out.
constexpr size_t kLongestCluster = 64;

bool isLineEnd(char32_t c) {
  return c == '\n' || c == '\v' || c == '\f' || c == '\r' || c == 0x85 || c == 0x2028 ||
         c == 0x2029;
}

bool isBlank(char32_t c) {
  return c <= 0x20 || (c >= 0x7F && c <= 0xA0) || c == 0x1680 || (c >= 0x2000 && c <= 0x200A) ||
         c == 0x202F || c == 0x205F || c == 0x3000;
}

// Of the characters without width, those that change how their neighbours look.
bool shapesNeighbours(char32_t c) {
  return c == 0x200C || c == 0x200D || (c >= 0xFE00 && c <= 0xFE0F) || c > 0xFFFF;
}

// Visible, one column wide, and never composed with what stands before it.
bool isPlain(unsigned char byte) { return byte > 0x20 && byte < 0x7F; }

constexpr char32_t kZeroWidthSpace = 0x200B;

}  // namespace

bool DisplayWriter::text(std::string_view utf8) {
  const auto* at = reinterpret_cast<const unsigned char*>(utf8.data());
  const auto* const end = at + utf8.size();
  while (at != end && !full_) {
    const auto* const plain = std::find_if_not(at, end, isPlain);
    if (plain != at) {
      addPlain({reinterpret_cast<const char*>(at), static_cast<size_t>(plain - at)});
      at = plain;
      continue;
    }
    const Decoded next = decodeCharacter(at, end);
    at += next.bytes;
    add(next.character);
  }
  return !full_;
}

// As addVisible for each of the bytes.
void DisplayWriter::addPlain(std::string_view bytes) {
  afterReturn_ = false;
  if (lineEnds_ != 0 || blanks_ != 0 || out_.empty()) writePending();
  if (full_) return;
  const std::string_view fitting = bytes.substr(0, maxBytes_ - out_.size());
  if (lineWidth_ != 0 && column_ + fitting.size() > lineWidth_) wrapAtBlank();
  write(fitting);
  column_ += fitting.size();
  clusterAt_ = out_.empty() ? 0 : out_.size() - 1;
  full_ = fitting.size() < bytes.size();
}

bool DisplayWriter::boundary(Break strength) {
  if (strength == Break::kWord) {
    if (lineEnds_ == 0 && !out_.empty()) blanks_ = std::max<size_t>(blanks_, 1);
  } else {
    lineEnds_ = std::max(lineEnds_, strength == Break::kLine ? 1 : 2);
    blanks_ = 0;
  }
  return !full_;
}

void DisplayWriter::add(char32_t c) {
  const bool secondHalf = afterReturn_ && c == '\n';
  afterReturn_ = c == '\r';
  if (secondHalf) return;
  if (isLineEnd(c)) {
    endLine();
  } else if (isBlank(c)) {
    const size_t columns = c == '\t' ? kTabColumns - blanks_ % kTabColumns : 1;
    blanks_ = std::min(blanks_ + columns, kMostIndent);
  } else if (c < 0x80) {
    addVisible(c, CharFacts(0));
  } else if (c != kZeroWidthSpace) {
    const CharFacts facts = factsOf(c);
    if (!facts.is(CharFacts::kIgnored) || shapesNeighbours(c)) addVisible(c, facts);
  }
}

void DisplayWriter::endLine() {
  lineEnds_ = std::min(lineEnds_ + 1, 2);
  blanks_ = 0;
}

bool DisplayWriter::write(std::string_view bytes) {
  full_ = full_ || bytes.size() > maxBytes_ - out_.size();
  if (!full_) out_.append(bytes);
  return !full_;
}

void DisplayWriter::writePending() {
  const bool newLine = lineEnds_ != 0 || out_.empty();
  if (lineEnds_ != 0 && !out_.empty()) {
    if (!write(std::string_view("\n\n", static_cast<size_t>(lineEnds_)))) return;
  }
  if (newLine) {
    column_ = 0;
    blankAt_ = kNoBlank;
  }
  if (blanks_ != 0) {
    const size_t columns = newLine ? blanks_ : 1;
    if (!newLine) blankAt_ = out_.size();
    constexpr std::string_view kBlanks =
        "                                                                ";
    static_assert(kBlanks.size() == kMostIndent);
    if (!write(kBlanks.substr(0, columns))) return;
    column_ += columns;
    if (!newLine) columnAfterBlank_ = column_;
  }
  lineEnds_ = 0;
  blanks_ = 0;
}

void DisplayWriter::addVisible(char32_t c, CharFacts facts) {
  const bool pending = lineEnds_ != 0 || blanks_ != 0 || out_.empty();
  if (!pending && facts.is(CharFacts::kComplex)) {
    addToCluster(c);
    return;
  }
  if (pending) writePending();
  if (full_) return;  // a blank that found no room is no place to wrap at
  const auto columns = static_cast<size_t>(std::max(c < 0x80 ? 1 : columnsOf(c), 0));
  if (lineWidth_ != 0 && column_ + columns > lineWidth_) {
    const bool breaksHere =
        facts.is(CharFacts::kPair) && !facts.is(CharFacts::kMark) && column_ != 0;
    if (breaksHere && !(blankAt_ != kNoBlank && blankAt_ + 1 == out_.size())) {
      if (!write("\n")) return;
      column_ = 0;
      blankAt_ = kNoBlank;
    } else {
      wrapAtBlank();
    }
  }
  unsigned char bytes[4];
  const unsigned count = encodeCharacter(c, bytes);
  clusterAt_ = out_.size();
  if (write({reinterpret_cast<char*>(bytes), count})) column_ += columns;
}

void DisplayWriter::wrapAtBlank() {
  if (blankAt_ == kNoBlank) return;
  out_[blankAt_] = '\n';
  column_ -= columnAfterBlank_;
  blankAt_ = kNoBlank;
}

// A mark, or whatever else may compose with the character in front.
void DisplayWriter::addToCluster(char32_t c) {
  const std::string_view before = out_.view().substr(clusterAt_);
  if (before.size() > kLongestCluster) return;
  unsigned char bytes[4];
  std::string cluster(before);
  cluster.append(reinterpret_cast<char*>(bytes), encodeCharacter(c, bytes));
  cluster = composedText(cluster);
  if (clusterAt_ + cluster.size() > maxBytes_) {
    full_ = true;
    return;
  }
  out_.cutTo(clusterAt_);
  out_.append(cluster);
  column_ += static_cast<size_t>(std::max(columnsOf(c), 0));
}

std::string_view DisplayWriter::finish() {
  if (!out_.empty() && out_.size() < maxBytes_) out_.append("\n");
  return out_.view();
}

}  // namespace veska::unicode
