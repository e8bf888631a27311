#include "storage/unicodehits.h"

#include <algorithm>

#include "index/index.h"

using namespace veska::unicode;

namespace {

// All bytes of a rendering fold to themselves. A code is three bytes of 32 values each. In front of
// each word two bytes stand that may begin one; the second never begins a hit, and stands for the
// rest of the word, which a condition counts as the first word behind it.
constexpr char kWordBegin = 'v';
constexpr char kWordRest = 'w';
constexpr uint32_t kDigit = 32;
constexpr uint32_t kMostCodes = kDigit * kDigit * kDigit - 1;

char leadByte(uint32_t digit) { return static_cast<char>(0xE0 + digit); }
char tailByte(uint32_t digit) {
  return static_cast<char>(digit < 16 ? 0x90 + digit : 0xB0 + digit - 16);
}

bool isWildcard(char32_t c) { return c == '*' || c == '?'; }

}  // namespace

UnicodeHits::UnicodeHits(const CVeskaIndex& index, std::string_view text, std::string query,
                         int defaultDistance)
    : scanner_(index),
      begin_(text.data()),
      end_(text.data() + text.size()),
      query_(std::move(query)) {
  classes_.startTable[static_cast<unsigned char>(kWordBegin)] = true;
  classes_.startTable[static_cast<unsigned char>(kWordRest)] = true;
  std::copy(std::begin(classes_.startTable), std::end(classes_.startTable), classes_.insideTable);
  for (uint32_t digit = 0; digit < kDigit; ++digit) {
    classes_.insideTable[static_cast<unsigned char>(leadByte(digit))] = true;
    classes_.insideTable[static_cast<unsigned char>(tailByte(digit))] = true;
  }
  renderText(text);
  search_ = std::make_unique<HitSearch>(classes_, rendered_, renderQuery(), defaultDistance);
}

uint32_t UnicodeHits::codeOf(char32_t c, bool add) {
  uint32_t* code = nullptr;
  if (c < 128) {
    code = &asciiCodes_[c];
  } else if (add) {
    code = &codes_[c];
  } else {
    const auto found = codes_.find(c);
    return found == codes_.end() ? 0 : found->second;
  }
  // A text of more characters than there are codes lets the rest share the last.
  if (*code == 0 && add) *code = lastCode_ = std::min(lastCode_ + 1, kMostCodes);
  return *code;
}

void UnicodeHits::appendCode(uint32_t code, std::string& to) const {
  to += leadByte(code / (kDigit * kDigit));
  to += tailByte(code / kDigit % kDigit);
  to += tailByte(code % kDigit);
}

void UnicodeHits::renderText(std::string_view text) {
  WordRun run;
  for (size_t at = 0; scanner_.next(text, at, run); at = run.end) {
    if (run.pairs) {
      renderPairs(text, run);
    } else {
      const std::u32string word = foldedCharacters(text.substr(run.begin, run.end - run.begin));
      renderWord(run.begin, word.data(), word.size());
    }
  }
}

void UnicodeHits::renderWord(size_t place, const char32_t* characters, size_t count) {
  words_.push_back({static_cast<uint32_t>(place), static_cast<uint32_t>(rendered_.size())});
  rendered_ += kWordBegin;
  rendered_ += kWordRest;
  for (size_t i = 0; i < count; ++i) appendCode(codeOf(characters[i], true), rendered_);
  rendered_ += ' ';
}

// The last character stands alone, for terms of one character.
void UnicodeHits::renderPairs(std::string_view text, const WordRun& run) {
  std::u32string characters;
  std::vector<size_t> places;
  for (size_t at = run.begin; at < run.end;) {
    const size_t end = WordScanner::clusterEnd(text, at, run.end);
    characters += foldedCharacters(text.substr(at, end - at));
    places.resize(characters.size(), at);
    at = end;
  }
  for (size_t i = 0; i < characters.size(); ++i)
    renderWord(places[i], &characters[i], std::min<size_t>(2, characters.size() - i));
}

bool UnicodeHits::isTermCharacter(char32_t c) const {
  return isWildcard(c) || scanner_.continues(c) ||
         (c >= 0x80 && factsOf(c).is(CharFacts::kIgnored));
}

// Operators stay, terms are rendered, all else separates.
std::string UnicodeHits::renderQuery() {
  const std::string_view query = query_;
  std::string result;
  for (size_t at = 0; at < query.size();) {
    const Decoded next = decodeAt(query, at);
    if (isTermCharacter(next.character)) {
      const size_t begin = at;
      while (at < query.size()) {
        const Decoded c = decodeAt(query, at);
        if (!isTermCharacter(c.character)) break;
        at += c.bytes;
      }
      result += renderTerm(query.substr(begin, at - begin));
      continue;
    }
    at += next.bytes;
    result += next.character < 0x80 ? static_cast<char>(next.character) : ' ';
    if (next.character != '<') continue;
    while (at < query.size() && query[at] >= '0' && query[at] <= '8') result += query[at++];
  }
  return result;
}

// A term is one word, or, where it holds characters of a script without blanks, several that follow
// each other.
std::string UnicodeHits::renderTerm(std::string_view term) {
  std::vector<std::string> words;
  std::string word;  // the wildcards and characters of a word, without its beginning
  const auto endWord = [&] {
    if (!word.empty()) words.push_back({kWordBegin, kWordRest});
    if (!word.empty()) words.back() += word;
    word.clear();
  };
  for (size_t at = 0; at < term.size();) {
    const Decoded next = decodeAt(term, at);
    const char32_t c = next.character;
    if (isWildcard(c) && !scanner_.continues(c)) {
      word += c == '*' ? "*" : "???";
      at += next.bytes;
      continue;
    }
    size_t end = at;
    const bool pairs = c >= 0x80 && factsOf(c).is(CharFacts::kPair);
    while (end < term.size()) {
      const Decoded other = decodeAt(term, end);
      const char32_t o = other.character;
      if (isWildcard(o) && !scanner_.continues(o)) break;
      const bool starts = o < 0x80 || factsOf(o).is(CharFacts::kLetter);
      if (starts && pairs != (o >= 0x80 && factsOf(o).is(CharFacts::kPair))) break;
      end += other.bytes;
    }
    const std::u32string folded = foldedCharacters(term.substr(at, end - at));
    at = end;
    if (!pairs) {
      for (const char32_t f : folded) appendCode(codeOf(f, false), word);
    } else if (!folded.empty()) {
      // A wildcard beside them has nothing to add: the word next to a pair is part of the same run.
      if (word.find_first_not_of("*?") == std::string::npos) word.clear();
      endWord();
      words.push_back(renderPairTerm(folded));
      while (at < term.size() && isWildcard(static_cast<unsigned char>(term[at]))) ++at;
    }
  }
  endWord();
  if (words.empty()) return " ";
  std::string result = words.size() == 1 ? words[0] : "(" + words[0];
  for (size_t i = 1; i < words.size(); ++i) result += "<1 " + words[i];
  return words.size() == 1 ? result : result + ")";
}

std::string UnicodeHits::renderPairTerm(const std::u32string& characters) {
  std::string result;
  if (characters.size() == 1) {
    result = {kWordBegin, kWordRest};
    appendCode(codeOf(characters[0], false), result);
    return result + "*";
  }
  for (size_t i = 0; i + 1 < characters.size(); ++i) {
    if (i != 0) result += "<1 ";
    result += {kWordBegin, kWordRest};
    appendCode(codeOf(characters[i], false), result);
    appendCode(codeOf(characters[i + 1], false), result);
  }
  return characters.size() == 2 ? result : "(" + result + ")";
}

// The rendering of the first word that begins at start or behind it.
const char* UnicodeHits::renderedFrom(const char* start) const {
  const auto place = static_cast<uint32_t>(start - begin_);
  const auto word = std::lower_bound(words_.begin(), words_.end(), place,
                                     [](const Word& w, uint32_t p) { return w.place < p; });
  return rendered_.data() + (word == words_.end() ? rendered_.size() : word->rendered);
}

const char* UnicodeHits::placeOf(const char* rendered) const {
  if (rendered == nullptr) return nullptr;
  const auto at = static_cast<size_t>(rendered - rendered_.data());
  if (at == rendered_.size()) return end_;
  const auto after = std::upper_bound(words_.begin(), words_.end(), at,
                                      [](size_t r, const Word& w) { return r < w.rendered; });
  return begin_ + std::prev(after)->place;
}

const char* UnicodeHits::forwards(const char* start, int maxWords) {
  return placeOf(search_->forwards(renderedFrom(start), maxWords));
}

const char* UnicodeHits::backwards(const char* start, int maxWords) {
  return placeOf(search_->backwards(renderedFrom(start), maxWords));
}

bool unicodeTermMatches(const CVeskaIndex& index, const char* text, const char* pattern,
                        bool atStart) {
  const WordScanner scanner(index);
  const std::string_view words = text;
  const std::string_view terms = pattern;
  size_t termEnd = 0;
  while (termEnd < terms.size()) {
    const Decoded next = decodeAt(terms, termEnd);
    if (!isWildcard(next.character) && !scanner.continues(next.character)) break;
    termEnd += next.bytes;
  }
  WordRun run;
  std::string word;
  if (scanner.runAt(words, 0, run) ||
      (!atStart && !words.empty() && scanner.continues(decodeAt(words, 0).character)))
    word = foldedText(words.substr(0, run.end == 0 ? decodeAt(words, 0).bytes : run.end));
  return index.doesWordMatch(word.c_str(), foldedText(terms.substr(0, termEnd)).c_str());
}

size_t unicodeTokenLength(const CVeskaIndex& index, std::string_view text, size_t offset) {
  WordRun run;
  if (!WordScanner(index).runAt(text, offset, run)) return 0;
  if (!run.pairs) return run.end - offset;
  const size_t second = WordScanner::clusterEnd(text, offset, run.end);
  return (second == run.end ? second : WordScanner::clusterEnd(text, second, run.end)) - offset;
}

size_t unicodeWordCharacters(const CVeskaIndex& index, std::string_view text, const char* hit) {
  WordRun run;
  const auto offset = static_cast<size_t>(hit - text.data());
  if (!WordScanner(index).runAt(text, offset, run)) return 0;
  if (run.pairs) return static_cast<size_t>(std::max(index.minWordLength, 0));
  return foldedCharacters(text.substr(offset, run.end - offset)).size();
}
