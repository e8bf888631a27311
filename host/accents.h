// The file "accents" of an index of Unicode text: which words are to be found by a word without
// accents. Made anew at the end of each run from the words of the index, read by a query.
//
//   base TAB word LF      cafe   café
//
// Lines are sorted by their bytes, so that a look-up bisects the mapped file; only words that
// differ from their base are listed. An index without the file has no such words.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "api/veskalib.h"

namespace veska {

// The word, folded, without its accents; equal to the word when it has none.
std::string withoutAccents(const std::string& word);

// Whether a word may have accents at all: it holds more than ASCII.
bool isBeyondAscii(std::string_view word);

class AccentTable {
 public:
  AccentTable() = default;  // empty
  // Maps the file in a generation's folder (with a trailing "/"); empty when there is none.
  explicit AccentTable(const std::string& folder);
  ~AccentTable();
  AccentTable(AccentTable&& other) noexcept;
  AccentTable& operator=(AccentTable&& other) noexcept;

  // The words that have this base. Of a damaged file, whatever is found.
  std::vector<std::string> wordsOf(const std::string& base) const;

  // All lines.
  std::vector<std::string> lines() const;

  // Calls use for each line that holds part, until it answers false. Lines that are no entries have
  // an empty word.
  void forEach(
      std::string_view part,
      const std::function<bool(const std::string& base, const std::string& word)>& use) const;

 private:
  size_t lineStart(size_t at) const;
  std::string_view lineAt(size_t start) const;

  std::string_view text_;
};

// Writes the file for the words of the index. known: the folder of a generation whose words the
// index still begins with, and knownUpTo the last of them that its file counts; empty and 0 for
// none. Result: the last word of the index. Fails when it cannot.
uint64_t writeAccents(CVeskaIndex* index, const std::string& folder, const std::string& known = {},
                      uint64_t knownUpTo = 0);

}  // namespace veska
