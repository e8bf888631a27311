// Type 1 fonts (Adobe Type 1 Font Format, 1990): the clear text at the start of the program holds
// the encoding, as "dup CODE /NAME put" for each code or by the name of the standard one.

#include "analyzers/pdf/encodings.h"
#include "analyzers/pdf/fontprogram.h"
#include "analyzers/pdf/lexer.h"

namespace veska::pdf {

FontProgram readType1(std::string_view data, Budget& budget) {
  FontProgram program;
  data = data.substr(0, data.find("eexec"));
  const size_t found = data.find("/Encoding");
  if (found == std::string_view::npos) return program;
  Lexer lexer(data.substr(found + 9));
  Token code;
  bool any = false;
  while (budget.takeSteps(4)) {
    const Token token = lexer.next();
    const std::string_view word = lexer.text(token);
    if (token.is(Token::Kind::kEnd)) break;
    if (token.is(Token::Kind::kKeyword)) {
      if (word == "StandardEncoding") {
        const EncodingTable& table = standardEncoding();
        for (uint32_t i = 0; i < 256; ++i) {
          const char32_t value = table[i];
          if (value) program.byCode.set(i, {&value, 1});
        }
        break;
      }
      if (word == "readonly" || (word == "def" && any)) break;
    }
    if (token.is(Token::Kind::kName) && code.is(Token::Kind::kInteger) && code.number >= 0 &&
        code.number < 256) {
      program.byCode.set(static_cast<uint32_t>(code.number), textOfGlyphName(word));
      any = true;
    }
    code = token;
    lexer.forget();
  }
  return program;
}

}  // namespace veska::pdf
