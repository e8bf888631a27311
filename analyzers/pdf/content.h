// Interprets content streams (ISO 32000-1, 7.8 and 9): keeps what matters to text of the graphics
// state, and hands every glyph with its place to a TextPage.

#ifndef VESKA_ANALYZERS_PDF_CONTENT_H_
#define VESKA_ANALYZERS_PDF_CONTENT_H_

#include <memory>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "analyzers/pdf/font.h"
#include "analyzers/pdf/pagetree.h"
#include "analyzers/pdf/textpage.h"

namespace veska::pdf {

// The fonts of a document, read once. What they take is bounded: when it is too much all are
// forgotten.
class FontCache {
 public:
  explicit FontCache(Document& document) : document_(document) {}

  // font: an entry of a resource dictionary. Null when it is no font.
  std::shared_ptr<const Font> get(const Object& font);

 private:
  Document& document_;
  std::unordered_map<uint32_t, std::shared_ptr<const Font>> fonts_;
  size_t memory_ = 0;
};

// Maps (x, y) to (a x + c y + e, b x + d y + f).
struct Matrix {
  double a = 1, b = 0, c = 0, d = 1, e = 0, f = 0;

  // First this one, then `next`.
  Matrix then(const Matrix& next) const;
};

class ContentInterpreter {
 public:
  ContentInterpreter(Document& document, TextPage& text);

  // Interprets the page's contents, and what its annotations look like.
  void interpret(const Page& page);

 private:
  struct TextState {
    std::shared_ptr<const Font> font;
    double size = 0, charSpace = 0, wordSpace = 0, scale = 1, leading = 0, rise = 0;
  };
  struct GraphicsState {
    Matrix matrix;
    TextState text;
  };
  // What names in a content stream stand for.
  struct Resources {
    Object dictionary, fonts, forms, properties, states;
    std::unordered_map<std::string, std::shared_ptr<const Font>> knownFonts;
  };
  // A marked-content section.
  struct Mark {
    bool hidden = false;
    bool replaced = false;
  };

  void run(std::string data, Resources& resources);
  void execute(std::string_view op, Resources& resources);
  bool executeState(uint32_t op, Resources& resources);
  bool executeText(uint32_t op, Resources& resources);
  void executeMarks(uint32_t op, Resources& resources);

  Resources openResources(const Object& dictionary);
  void setFont(std::string_view name, double size, Resources& resources);
  void setFromState(std::string_view name, Resources& resources);
  void moveLine(double x, double y);
  void show(std::string_view string);
  void showArray();
  void beginRun();
  void endRun();

  void drawObject(std::string_view name, Resources& resources);
  void drawForm(const Stream& form, const Matrix& placed, const Resources* outer);
  void drawAnnotations(const Page& page);
  void drawAppearance(const Dictionary& annotation);
  void skipInlineImage();

  void beginMark(Resources& resources, bool withProperties);
  void endMark();
  bool isHidden(const Object& group);
  void readHiddenGroups();
  std::string contentsOf(const Page& page);
  Matrix matrixOf(const Object& array);

  double operand(size_t fromLast) const;
  std::string_view nameOperand(size_t fromLast) const;
  std::string_view stringOperand(size_t fromLast) const;

  Document& document_;
  TextPage& page_;
  FontCache fonts_;
  std::unordered_set<uint32_t> hiddenGroups_;

  // Of the page that is interpreted.
  double left_ = 0, bottom_ = 0, right_ = 0, top_ = 0;

  // Of the stream that is interpreted.
  Lexer* lexer_ = nullptr;
  std::vector<Token> operands_;
  GraphicsState state_;
  std::vector<GraphicsState> stack_;
  size_t stackOverflow_ = 0;
  int formDepth_ = 0;
  std::unordered_set<uint64_t> activeForms_;  // by their place in the file

  Matrix textMatrix_, lineMatrix_;

  // Of the run of glyphs that is shown: where it began, and how far it has come in text space.
  double along_ = 0, alongPerUnit_ = 0, advanced_ = 0;
  double minAlong_ = 0, maxAlong_ = 0;  // the page, along the run
  bool runVisible_ = false;

  std::vector<Mark> marks_;
  size_t markOverflow_ = 0;
  int hiddenMarks_ = 0;
  // Text that replaces the glyphs of a marked-content section, and where these were so far.
  bool replacing_ = false, replacedAny_ = false;
  std::u32string replacement_;
  double replacedFrom_ = 0, replacedTo_ = 0;
  TextRun run_, replacedRun_;
};

}  // namespace veska::pdf

#endif  // VESKA_ANALYZERS_PDF_CONTENT_H_
