#include "host/words.h"

#include "host/encoding.h"

namespace veska {
namespace {

bool isWildcard(char byte) { return byte == '*' || byte == '?'; }

bool isAllWildcards(std::string_view word) {
  return word.find_first_not_of("*?") == std::string_view::npos;
}

}  // namespace

CutText cutBytes(std::string_view utf8) {
  Encoded encoded = encodeQuery(utf8);
  CutText cut{{}, encoded.unknown, encoded.unknownAt};
  if (!cut.unknown.empty()) return cut;
  fold(encoded.text);
  std::string word;
  const auto endWord = [&] {
    if (!word.empty()) cut.words.push_back({word});
    word.clear();
  };
  for (const char byte : encoded.text) {
    if (isWildcard(byte) || isWordByte(static_cast<unsigned char>(byte))) {
      word += byte;
    } else {
      endWord();
    }
  }
  endWord();
  return cut;
}

// A wildcard beside a run without blanks, as in "東*", says nothing: what such a run is a part of
// is found anyway.
CutText cutUnicode(CVeskaIndex* index, std::string_view utf8) {
  CutText cut;
  size_t lastEnd = 0;
  WordShape lastShape = WordShape::kWord;
  bool hasWildcards = false;  // the last word is one of wildcards alone
  const auto take = [&](const char* text, size_t begin, size_t end, WordShape shape) {
    const bool touches = !cut.words.empty() && begin <= lastEnd;
    const bool wildcards = isAllWildcards(text);
    if (touches && hasWildcards && shape != WordShape::kWord) cut.words.pop_back();
    hasWildcards = wildcards && !(touches && lastShape != WordShape::kWord);
    if (!wildcards || hasWildcards) {
      cut.words.push_back({text, shape, shape == WordShape::kPair && begin < lastEnd});
    }
    lastEnd = end;
    lastShape = shape;
  };
  walkUnicodeWords(index, utf8, true, take);
  return cut;
}

}  // namespace veska
