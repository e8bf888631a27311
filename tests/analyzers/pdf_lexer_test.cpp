#include <gtest/gtest.h>

#include "analyzers/pdf/cmap.h"
#include "analyzers/pdf/encodings.h"
#include "analyzers/pdf/parser.h"

namespace veska::pdf {
namespace {

// Tokens as text: numbers as they are, strings in (), names with /, the rest as its sign.
std::string tokensOf(std::string_view input) {
  using enum Token::Kind;
  Lexer lexer(input);
  std::string out;
  for (Token token = lexer.next(); !token.is(kEnd); token = lexer.next()) {
    if (!out.empty()) out += ' ';
    const std::string text(lexer.text(token));
    if (token.is(kInteger)) out += std::to_string(static_cast<int64_t>(token.number));
    if (token.is(kReal)) out += std::to_string(token.number);
    if (token.is(kString)) out += "(" + text + ")";
    if (token.is(kName)) out += "/" + text;
    if (token.is(kKeyword)) out += text;
    if (token.is(kArrayBegin)) out += '[';
    if (token.is(kArrayEnd)) out += ']';
    if (token.is(kDictionaryBegin)) out += "<<";
    if (token.is(kDictionaryEnd)) out += ">>";
  }
  return out;
}

TEST(PdfLexer, CutsTokens) {
  const std::pair<const char*, const char*> cases[] = {
      {"1 -2 +3 .5 -.25 4. --6", "1 -2 3 0.500000 -0.250000 4.000000 -6"},
      {"12-34 7", "12 7"},
      {"(a(b)c) (\\101\\7z\\n\\)\\\nx) (\r\n)", "(a(b)c) (A\az\n)x) (\n)"},
      {"<48 65 6>", "(He`)"},
      {"/A#42#zz/B /", "/AB#zz /B /"},
      {"<</K[1 true]>>", "<< /K [ 1 true ] >>"},
      {"% note\nT* '", "T* '"},
      {"(open", "(open)"},
      {"} ) > BT", "BT"},
  };
  for (const auto& [input, expected] : cases) {
    EXPECT_EQ(tokensOf(input), expected) << input;
  }
}

TEST(PdfLexer, HugeNumbersStayFinite) {
  const std::string digits =
      std::string(400, '9') + " 0." + std::string(400, '1') + " 0." + std::string(400, '0') + "1";
  Lexer lexer(digits);
  EXPECT_GT(lexer.next().number, 1e17);
  EXPECT_NEAR(lexer.next().number, 0.111111, 1e-5);
  EXPECT_NEAR(lexer.next().number, 0, 1e-5);
}

TEST(PdfParser, ReadsNestedObjectsAndReferences) {
  Budget budget;
  Parser parser("<</A[1 2 0 R(x)]/B<</C/D>>/A2 null/B 7>>", budget);
  const Object object = parser.object();
  ASSERT_TRUE(object.dictionary());
  const Array* const array = (*object.dictionary())["A"].array();
  ASSERT_TRUE(array);
  ASSERT_EQ(array->size(), 3u);
  EXPECT_EQ(*(*array)[1].reference(), (Reference{2, 0}));
  EXPECT_EQ((*object.dictionary())["B"].integer(0), 7) << "the last entry holds";
  EXPECT_TRUE((*object.dictionary())["none"].isNull());
}

TEST(PdfParser, DamagedAndDeepObjectsEnd) {
  Budget budget;
  EXPECT_TRUE(Parser("<</A[1 2>>", budget).object().dictionary());
  EXPECT_TRUE(Parser("<</A", budget).object().dictionary());
  EXPECT_TRUE(Parser(std::string(100000, '['), budget).object().array());
  Budget small(0);
  EXPECT_TRUE(Parser("[" + std::string(8 << 20, '0') + "]", small).object().array());
}

TEST(PdfCMap, ReadsCharactersRangesAndArrays) {
  Budget budget;
  const CMap map = CMap::parse(
      "1 begincodespacerange <00> <7F> <8000> <FFFF> endcodespacerange "
      "2 beginbfchar <01> <0066006C> <8001> <D83DDE00> endbfchar "
      "2 beginbfrange <10> <12> <0041> <20> <21> [<0058> <0059005A>] endbfrange",
      budget);
  EXPECT_EQ(map.text()[1], U"fl");
  EXPECT_EQ(map.text()[0x8001], U"\U0001F600");
  EXPECT_EQ(map.text()[0x12], U"C");
  EXPECT_EQ(map.text()[0x20], U"X");
  EXPECT_EQ(map.text()[0x21], U"YZ");
  EXPECT_EQ(map.text()[0x22], U"");
  std::string_view string("\x41\x80\x01", 3);
  size_t bytes = 0;
  EXPECT_EQ(map.nextCode(string, bytes), 0x41u);
  EXPECT_EQ(map.nextCode(string, bytes), 0x8001u);
  EXPECT_TRUE(string.empty());
}

TEST(PdfCMap, HugeRangesAreCutShort) {
  Budget budget;
  const CMap map = CMap::parse(
      "beginbfrange <00000000> <FFFFFFFF> <0041> <FFFFFFF0> <FFFFFFFF> <0042> endbfrange", budget);
  EXPECT_EQ(map.text()[0], U"A");
  EXPECT_EQ(map.text()[0xFFFFFFF0], U"B");
}

TEST(PdfCMap, PredefinedUnicodeMapsAreTheirOwnText) {
  size_t bytes = 0;
  std::string_view utf16("\xD8\x3D\xDE\x00", 4);
  const CMap map = CMap::predefined("UniJIS-UTF16-H");
  const uint32_t code = map.nextCode(utf16, bytes);
  EXPECT_EQ(map.unicodeOf(code, bytes), U'\U0001F600');
  EXPECT_TRUE(CMap::predefined("Identity-V").vertical());
}

TEST(PdfEncodings, GlyphNamesGiveTheirText) {
  const std::pair<const char*, std::u32string> cases[] = {
      {"eacute", U"é"}, {"uni00410042", U"AB"}, {"u1F600", U"\U0001F600"}, {"f_f_i", U"ffi"},
      {"a.alt", U"a"},  {"Asmall", U"a"},       {"oneoldstyle", U"1"},     {".notdef", U""},
      {"uniD800", U""}, {"zukatakana", U"ズ"},
  };
  for (const auto& [name, text] : cases) EXPECT_EQ(textOfGlyphName(name), text) << name;
}

}  // namespace
}  // namespace veska::pdf
