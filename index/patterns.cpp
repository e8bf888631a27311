// The pattern language of names. Its "*" is decided without going back and forth: whether the term
// after a star can match somewhere from a position on depends only on whether that position lies at
// or before the last place where it matches. So one place for each star is enough, found from the
// last star to the first; no recursion, no memory, and time of the order of name times pattern.

#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

#include "api/lowercase.h"
#include "api/reporting.h"
#include "index/index.h"

namespace {

// What a star does for a name position: satisfied at or before last, and everywhere when even the
// used-up name satisfies what follows the star.
struct Star {
  const char* last = nullptr;
  bool usedUp = false;

  bool satisfies(const char* at) const { return usedUp || (last && at <= last); }
};

// Where the comparison of a term character by character stopped.
struct Stop {
  const char* name;
  const char* pattern;
  bool negated;

  bool atStar() const { return *name && *pattern == '*'; }
};

const char* skipBlanks(const char* text) {
  while (*text == ' ') ++text;
  return text;
}

bool isOperator(char c) { return c == '|' || c == '&' || c == '^'; }

Stop compareTerm(const char* name, const char* pattern) {
  const bool negated = *pattern == '^';
  if (negated) pattern = skipBlanks(pattern + 1);
  // 0x7F folds to what the end of a text folds to, and still is no end.
  while (*name && *pattern && *pattern != '*' &&
         (*pattern == '?' || foldByte(*name) == foldByte(*pattern))) {
    ++name;
    ++pattern;
  }
  return {name, pattern, negated};
}

// Deliberate: a trailing "?" matches nothing just as a trailing "*" does, and a term that an
// operator follows is satisfied by any name that begins with a match.
bool endsWell(const char* pattern, bool nameUsedUp) {
  if (nameUsedUp)
    while (*pattern == '*' || *pattern == '?') ++pattern;
  pattern = skipBlanks(pattern);
  if (*pattern == 0) return nameUsedUp;
  if (*pattern == '*') return pattern[1] == 0;
  return isOperator(*pattern);
}

// star: the first one behind pattern.
bool matchTerm(const char* name, const char* pattern, const Star& star) {
  const Stop stop = compareTerm(name, pattern);
  const bool satisfied =
      stop.atStar() ? star.satisfies(stop.name) : endsWell(stop.pattern, *stop.name == 0);
  return satisfied != stop.negated;
}

// What the star before rest does; next: the star that follows it.
Star evaluateStar(const char* name, const char* nameEnd, const char* rest, const Star& next) {
  Star star;
  star.usedUp = endsWell(rest, true);
  if (star.usedUp) return star;
  const unsigned char wanted = foldByte(*rest);
  for (const char* at = nameEnd; at != name;) {
    --at;
    if (foldByte(*at) != wanted || !matchTerm(at, rest, next)) continue;
    star.last = at;
    break;
  }
  return star;
}

// Has the pattern just one term, which ends in a character that the name does not end in? Most
// patterns fail for most names there.
bool endsDiffer(const char* name, const char* pattern) {
  const size_t length = std::strcspn(pattern, "&|^ ");
  if (length == 0 || pattern[length] != 0 || *name == 0) return false;
  const char last = pattern[length - 1];
  return last != '*' && last != '?' && foldByte(last) != foldByte(name[std::strlen(name) - 1]);
}

bool hasSeparator(const char* pattern) { return std::strpbrk(pattern, "/\\") != nullptr; }

// The lists are of the C allocator.
void freeTexts(char** texts, int count) {
  for (int slot = 0; slot < count; ++slot) std::free(texts[slot]);
  std::free(texts);
}

template <typename T>
T** emptySlots(int count) {
  if (count <= 0) return nullptr;
  auto* slots = static_cast<T**>(std::calloc(static_cast<size_t>(count) + 1, sizeof(T*)));
  if (!slots) throw std::bad_alloc();
  return slots;
}

// text may be what the slot holds.
char* replaceText(char*& slot, const char* text) {
  char* const copy = strdup(text);
  if (!copy) throw std::bad_alloc();
  std::free(slot);
  return slot = copy;
}

}  // namespace

bool termMatch(const char* name, const char* pattern) {
  const Stop stop = compareTerm(name, pattern);
  if (!stop.atStar()) return endsWell(stop.pattern, *stop.name == 0) != stop.negated;
  const char* const nameEnd = stop.name + std::strlen(stop.name);
  Star star;
  for (const char* at = pattern + std::strlen(pattern); at != stop.pattern;) {
    --at;
    if (*at == '*') star = evaluateStar(stop.name, nameEnd, at + 1, star);
  }
  return star.satisfies(stop.name) != stop.negated;
}

bool fileNameMatch(const char* name, const char* pattern) {
  if (endsDiffer(name, pattern)) return false;
  for (;;) {
    const bool satisfied = termMatch(name, pattern);
    const char* rest = *pattern == '^' ? pattern + 1 : pattern;
    rest = std::strpbrk(rest, satisfied ? "&^" : "|");
    if (!rest) return satisfied;
    if (*rest == '^') {
      pattern = rest;
      continue;
    }
    pattern = skipBlanks(rest + 1);
    if (satisfied && *pattern == 0) return true;
  }
}

bool CVeskaIndex::dirMatch(const char* path, const char* pattern) const {
  if (*path == 0) return !hasSeparator(pattern);
  for (;;) {
    while (*path && *pattern && *pattern != '*' &&
           (*pattern == '?' || foldByte(*path) == foldByte(*pattern))) {
      ++path;
      ++pattern;
    }
    if (*pattern != '*') return !hasSeparator(pattern);
    ++pattern;
    if (!hasSeparator(pattern)) return true;
    // Deliberate: only the first place is tried.
    const unsigned char wanted = foldByte(*pattern);
    while (*path && foldByte(*path) != wanted) ++path;
    if (!*path) return true;
  }
}

void CVeskaIndex::setIncludeCount(int count) {
  freeTexts(std::exchange(includePatterns, nullptr), std::exchange(includeCount_, 0));
  std::free(std::exchange(includeAnalyzers, nullptr));
  includePatterns = emptySlots<char>(count);
  includeAnalyzers = emptySlots<CFileAnalyzer>(count);
  includeCount_ = includePatterns ? count : 0;
}

void CVeskaIndex::setExcludeCount(int count) {
  freeTexts(std::exchange(excludePatterns, nullptr), std::exchange(excludeCount_, 0));
  excludePatterns = emptySlots<char>(count);
  excludeCount_ = excludePatterns ? count : 0;
}

void CVeskaIndex::setIncludePattern(int slot, const char* pattern, const char* analyzerName) {
  if (slot < 0 || slot >= includeCount_) return;
  replaceText(includePatterns[slot], pattern);
  const std::string name = analyzerName && *analyzerName ? analyzerName : "generic";
  CFileAnalyzer* analyzer = analyzerNamed(name);
  // The slot's pattern is in force with the analyzer that it had before.
  if (!analyzer) postWarning("AnalyzerNotFound", name);
  includeAnalyzers[slot] = analyzer;
}

char* CVeskaIndex::setExcludePattern(int slot, const char* pattern) {
  if (slot < 0 || slot >= excludeCount_) return nullptr;
  return replaceText(excludePatterns[slot], pattern);
}

bool CVeskaIndex::isExcluded(const char* name) const {
  if (!excludePatterns) return false;
  for (char* const* pattern = excludePatterns; *pattern; ++pattern)
    if (fileNameMatch(name, *pattern)) return true;
  return false;
}
