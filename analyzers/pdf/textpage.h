// The text of a page, from glyphs at places to words in reading order.
//
// Glyphs come in the order in which they are drawn. What is close to each other becomes a word;
// words on one base line become a line, even when they were drawn at different times; lines below
// each other become a block; and blocks are read in the order in which they were drawn, but never
// one that stands below another one before it. Positions are taken along the direction of the text
// and across it, so that text that runs upwards is read like any other.

#ifndef VESKA_ANALYZERS_PDF_TEXTPAGE_H_
#define VESKA_ANALYZERS_PDF_TEXTPAGE_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace veska::pdf {

// Where a run of glyphs begins.
struct TextRun {
  int angle = 0;    // direction of the text in degrees, 0 to 359
  double base = 0;  // of the base line, across the text; larger is further up
  double size = 0;  // of the letters
  const void* font = nullptr;
};

class TextPage {
 public:
  // Forgets all text.
  void clear();

  // The glyphs that follow belong to this run.
  void beginRun(const TextRun& run);

  // A glyph, or several under one text, between two places along the direction of the text. The
  // text is in the order in which it is read, also where that is from right to left.
  void add(std::u32string_view text, double from, double to);

  // Whether the page holds as much as it should; more text makes it only larger.
  bool full() const { return text_.size() >= kFullChars; }

  // Appends the text in reading order to out, the glyphs of each line from left to right: words end
  // with a blank, lines and blocks with a line feed; words that a hyphen divides at the end of a
  // line are whole.
  void write(std::u32string& out);

 private:
  struct Word {
    double from, to, base, size;
    uint32_t begin, length;  // in text_
    int angle;
  };

  // A piece of a base line: words of order_.
  struct Line {
    uint32_t begin, count;
    double from, to, base, size;
    int angle;
  };

  // Lines of lines_ below each other.
  struct Block {
    uint32_t begin, count;
    double from, to, top, bottom;
    int angle;
  };

  static constexpr size_t kFullChars = 1 << 20;

  void addText(std::u32string_view text, double from, double to);
  void addPart(std::u32string_view text, double from, double to);
  bool combine(char32_t c, double from, double to);
  void closeWord() { open_ = false; }

  void findLines();
  bool continues(const Line& line, const Word& word) const;
  void mergeLines();
  void mergeGroup(const std::vector<uint32_t>& group);
  void findBlocks();
  std::vector<uint32_t> blockOrder() const;
  bool standsAbove(const Block& a, const Block& b) const;
  double spaceThreshold(const Line& line) const;
  void writeLine(uint32_t index, std::u32string& out);
  bool endsDivided(const std::u32string& out) const;
  const Line* findRest(const Line& line, uint32_t next, std::u32string_view before) const;
  void writeRest(const Line& rest, std::u32string& out);
  void separate(const Line& last, const Line& line, std::u32string& out) const;
  uint32_t firstWordEnd(const Line& line) const;
  char32_t firstChar(const Line& line) const { return text_[words_[order_[line.begin]].begin]; }

  TextRun run_;
  bool open_ = false;        // the last word can be continued
  bool runChanged_ = false;  // the run differs from that of the last word
  double lastFrom_ = 0;      // where the last glyph began
  std::u32string text_;
  std::vector<Word> words_;
  std::vector<uint32_t> order_;  // words of the lines
  std::vector<Line> lines_;
  std::vector<Block> blocks_;
  std::vector<uint32_t> written_;  // for each line, how many of its words are written
};

}  // namespace veska::pdf

#endif  // VESKA_ANALYZERS_PDF_TEXTPAGE_H_
