// Reads objects from tokens (ISO 32000-1, 7.3).

#ifndef VESKA_ANALYZERS_PDF_PARSER_H_
#define VESKA_ANALYZERS_PDF_PARSER_H_

#include "analyzers/pdf/budget.h"
#include "analyzers/pdf/lexer.h"
#include "analyzers/pdf/object.h"

namespace veska::pdf {

class Parser {
 public:
  Parser(std::string_view input, Budget& budget) : lexer_(input), budget_(budget) {}

  // The next object; null for what is none. Damaged arrays and dictionaries give what there was.
  Object object();

  // "N G obj". Result: false, with the position unchanged, when it does not stand here.
  bool objectHeader(Reference& id);

  // Whether the keyword comes next; it is consumed then.
  bool keyword(std::string_view wanted);

  Lexer& lexer() { return lexer_; }

 private:
  Object object(const Token& token, int depth);
  Object array(int depth);
  Object dictionary(int depth);
  Object numberOrReference(const Token& token);

  Lexer lexer_;
  Budget& budget_;
};

}  // namespace veska::pdf

#endif  // VESKA_ANALYZERS_PDF_PARSER_H_
