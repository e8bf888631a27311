// The matchers of names and terms, written down as slowly and plainly as the rules read: the fast
// ones are held against these on generated input. Exponential time; for short texts only.
#ifndef VESKA_TESTS_SUPPORT_SLOWMATCH_H_
#define VESKA_TESTS_SUPPORT_SLOWMATCH_H_

#include <cstring>
#include <string_view>

#include "tests/support/tablereader.h"

namespace veska::test {

inline bool slowSame(char a, char b) { return slowFold(a) == slowFold(b); }

inline const char* slowSkip(const char* text, const char* set) {
  return text + std::strspn(text, set);
}

// One term of a name pattern.
inline bool slowTermMatch(const char* name, const char* pattern) {
  const bool negated = *pattern == '^';
  if (negated) pattern = slowSkip(pattern + 1, " ");

  const auto satisfied = [&] {
    bool differs = false;
    while (!differs && *name && *pattern != '*') {
      differs = !*pattern || !(*pattern == '?' || slowSame(*pattern, *name));
      if (!differs) ++name, ++pattern;
    }
    if (!differs && *pattern == '*') {
      ++pattern;
      for (; *name; ++name) {
        if (slowSame(*name, *pattern) && slowTermMatch(name, pattern)) return true;
      }
    }
    if (!*name) pattern = slowSkip(pattern, "*?");
    pattern = slowSkip(pattern, " ");
    switch (*pattern) {
      case '\0':
        return !*name;
      case '*':
        return pattern[1] == '\0';
      case '|':
      case '&':
      case '^':
        return true;
      default:
        return false;
    }
  };
  return satisfied() != negated;
}

// A whole name pattern.
inline bool slowNameMatch(const char* name, const char* pattern) {
  const bool satisfied = slowTermMatch(name, pattern);
  const char* rest = *pattern == '^' ? pattern + 1 : pattern;
  rest = std::strpbrk(rest, satisfied ? "&^" : "|");
  if (!rest) return satisfied;
  if (*rest == '^') return slowNameMatch(name, rest);
  const bool conjunction = *rest == '&';
  rest = slowSkip(rest + 1, " ");
  return (conjunction && !*rest) || slowNameMatch(name, rest);
}

// Can something below the folder match?
inline bool slowDirMatch(const char* path, const char* pattern) {
  const auto noSeparator = [](const char* text) { return std::strpbrk(text, "/\\") == nullptr; };
  if (!*path) return noSeparator(pattern);
  while (*path && *pattern != '*') {
    if (!*pattern || !(*pattern == '?' || slowSame(*pattern, *path))) return noSeparator(pattern);
    ++path, ++pattern;
  }
  if (*pattern != '*') return noSeparator(pattern);
  ++pattern;
  if (noSeparator(pattern)) return true;
  while (*path && !slowSame(*path, *pattern)) ++path;
  return !*path || slowDirMatch(path, pattern);
}

// A query term; wild holds those of "*" and "?" that are wildcards.
inline bool slowWordMatch(const char* word, const char* term, const char* wild) {
  const auto isWild = [&](char c) { return c && std::strchr(wild, c); };
  while (*word && *term) {
    if (*term == '*' && isWild('*')) {
      if (!*++term) return true;
      for (; *word; ++word) {
        if (*word == *term && slowWordMatch(word, term, wild)) return true;
      }
      return false;
    }
    if (!(*term == '?' && isWild('?')) && *term != *word) break;
    ++word, ++term;
  }
  while (isWild(*term)) ++term;
  return !*term && !*word;
}

}  // namespace veska::test

#endif  // VESKA_TESTS_SUPPORT_SLOWMATCH_H_
