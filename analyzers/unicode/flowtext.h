// Running text out of mark-up, whose blanks and line ends mean no more than one blank.

#ifndef VESKA_ANALYZERS_UNICODE_FLOWTEXT_H_
#define VESKA_ANALYZERS_UNICODE_FLOWTEXT_H_

#include <array>
#include <string>
#include <string_view>

#include "analyzers/unicode/characters.h"
#include "analyzers/unicode/textsource.h"

namespace veska::unicode {

inline constexpr std::array<bool, 256> kFlowBlanks = [] {
  std::array<bool, 256> blanks{};
  blanks[' '] = blanks['\n'] = blanks['\t'] = blanks['\r'] = blanks['\f'] = true;
  return blanks;
}();
inline bool isFlowBlank(char c) { return kFlowBlanks[static_cast<unsigned char>(c)]; }

// Words with single spaces between them are passed on as they stand: where does such a run end that
// begins at a place? Result: the place of the blank behind it, or the text's size. REQUIRES:
// at <= text.size().
size_t flowRunEnd(std::string_view text, size_t at);

// Collects the text and passes it on in large pieces. Results: false when the sink wants no more.
class FlowText {
 public:
  // keepLines: a blank that holds a line feed is a line's end. Else, between characters of scripts
  // without blanks, it is nothing (CSS Text 3, 4.1.3).
  FlowText(TextSink& sink, bool keepLines) : sink_(sink), keepLines_(keepLines) {}

  bool add(std::string_view text) {
    size_t at = 0;
    while (at < text.size()) {
      if (isFlowBlank(text[at])) {
        sawLine_ = sawLine_ || text[at] == '\n';
        blank_ = true;
        ++at;
        continue;
      }
      const size_t end = flowRunEnd(text, at);
      writeBlank(text.substr(at, end - at));
      buffer_ += text.substr(at, end - at);
      started_ = true;
      at = end;
    }
    return buffer_.size() < kPieceBytes || flush();
  }

  // Text in which blanks and lines stand as they are.
  bool addVerbatim(std::string_view text) {
    writeBlank({});
    started_ = true;
    return flush() && sink_.text(text);
  }

  bool boundary(Break strength) {
    if (!flush()) return false;
    blank_ = blank_ && strength == Break::kWord;
    started_ = started_ && strength == Break::kWord;
    return sink_.boundary(strength);
  }

  bool flush() {
    if (buffer_.empty()) return true;
    const bool more = sink_.text(buffer_);
    buffer_.clear();
    return more;
  }

 private:
  static constexpr size_t kPieceBytes = 32768;

  void writeBlank(std::string_view next) {
    if (blank_ && started_ && !isWithinRun(next)) buffer_ += keepLines_ && sawLine_ ? '\n' : ' ';
    blank_ = sawLine_ = false;
  }

  bool isWithinRun(std::string_view next) const {
    if (keepLines_ || !sawLine_ || next.empty() || buffer_.empty()) return false;
    constexpr unsigned char kLeast = 0x80;
    if (static_cast<unsigned char>(next.front()) < kLeast ||
        static_cast<unsigned char>(buffer_.back()) < kLeast)
      return false;
    size_t last = buffer_.size() - 1;
    while (last > 0 && (static_cast<unsigned char>(buffer_[last]) & 0xC0) == 0x80) --last;
    return joinsAcrossLines(decodeAt(buffer_, last).character) &&
           joinsAcrossLines(decodeAt(next, 0).character);
  }

  TextSink& sink_;
  const bool keepLines_;
  std::string buffer_;
  bool blank_ = false;    // seen since the last text
  bool sawLine_ = false;  // with a line feed in it
  bool started_ = false;  // text stands in this line
};

}  // namespace veska::unicode

#endif  // VESKA_ANALYZERS_UNICODE_FLOWTEXT_H_
