// The display writer of the Unicode mode: a sink that makes text for people to read. Lines and
// paragraphs stay, of several empty lines in a row one; blanks within a line become one, those in
// front of it stay; what a terminal would obey rather than show is left out; characters and their
// marks are composed (NFC).

#ifndef VESKA_ANALYZERS_UNICODE_DISPLAYWRITER_H_
#define VESKA_ANALYZERS_UNICODE_DISPLAYWRITER_H_

#include <cstddef>
#include <string_view>

#include "analyzers/unicode/characters.h"
#include "analyzers/unicode/growingtext.h"
#include "analyzers/unicode/textsource.h"

namespace veska::unicode {

class DisplayWriter : public TextSink {
 public:
  // maxBytes: of the text; never a part of a character. lineWidth: columns after which a line is
  // wrapped, at a blank or between the characters of a script without blanks; 0: not. A word that
  // is longer stays whole.
  DisplayWriter(size_t maxBytes, int lineWidth)
      : maxBytes_(maxBytes), lineWidth_(lineWidth > 0 ? static_cast<size_t>(lineWidth) : 0) {}

  // False once the text is full.
  bool text(std::string_view utf8) override;
  bool boundary(Break strength) override;

  // Ends the last line. Result: the text, which belongs to this object.
  std::string_view finish();
  // After finish. Result: the text with a terminating zero, to be released with free().
  char* release() { return out_.release(); }

 private:
  void addPlain(std::string_view bytes);
  void add(char32_t character);
  void addVisible(char32_t character, CharFacts facts);
  void addToCluster(char32_t character);
  void endLine();
  void writePending();
  bool write(std::string_view bytes);
  void wrapAtBlank();

  const size_t maxBytes_;
  const size_t lineWidth_;
  GrowingText out_;
  bool full_ = false;
  bool afterReturn_ = false;  // a line feed that follows belongs to the carriage return

  // What comes before the next visible character.
  int lineEnds_ = 0;   // 2: an empty line
  size_t blanks_ = 0;  // columns of them

  size_t column_ = 0;
  size_t clusterAt_ = 0;  // where the last character with its marks begins
  static constexpr size_t kNoBlank = ~size_t{0};
  size_t blankAt_ = kNoBlank;  // the last blank in this line, where it may be broken
  size_t columnAfterBlank_ = 0;
};

}  // namespace veska::unicode

#endif  // VESKA_ANALYZERS_UNICODE_DISPLAYWRITER_H_
