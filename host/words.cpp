#include "host/words.h"

#include "host/encoding.h"

namespace veska {
namespace {

bool isWildcard(char byte) { return byte == '*' || byte == '?'; }

bool isAllWildcards(std::string_view word) {
  return word.find_first_not_of("*?") == std::string_view::npos;
}

// A wildcard beside a run without blanks stands apart from it: "東*". Beside one character it asks
// for the pairs that begin or end with that; a pair has no longer word that it could ask for.
// Result: whether it is done with.
bool joinsPair(CutWord& neighbour, std::string_view wildcards, bool behind) {
  if (neighbour.shape == WordShape::kWord) return false;
  if (neighbour.shape == WordShape::kPair) return true;
  neighbour.text.insert(behind ? neighbour.text.size() : 0, wildcards);
  neighbour.shape = WordShape::kWord;
  return true;
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

CutText cutUnicode(CVeskaIndex* index, std::string_view utf8) {
  CutText cut;
  size_t lastEnd = 0;
  std::string waiting;  // wildcards that stood before what comes now
  size_t waitingEnd = 0;
  const auto giveWaiting = [&] {
    if (!waiting.empty()) cut.words.push_back({waiting});
    waiting.clear();
  };
  walkUnicodeWords(
      index, utf8, true, [&](const char* text, size_t begin, size_t end, WordShape shape) {
        CutWord word{text, shape,
                     !cut.words.empty() && shape == WordShape::kPair && begin < lastEnd};
        if (!waiting.empty() && waitingEnd == begin && joinsPair(word, waiting, false)) {
          waiting.clear();
        }
        giveWaiting();
        if (!isAllWildcards(word.text)) {
          cut.words.push_back(std::move(word));
        } else if (cut.words.empty() || lastEnd != begin ||
                   !joinsPair(cut.words.back(), word.text, true)) {
          waiting = word.text;
          waitingEnd = end;
        }
        lastEnd = end;
      });
  giveWaiting();
  return cut;
}

}  // namespace veska
