// Reads an index through the engine's interface: words, the files that hold them, file records and
// their paths. Nothing is kept but what one query needs, and nothing is read before it is asked
// for, so that a search in a new process costs little more than the pages that it touches.
//
// An index file may be damaged. Every walk here ends: next chunks must lie wholly before the chunk
// read last, parents must lead to a folder within a bounded number of steps. What breaks these
// rules fails with a HostError that says that the index is damaged.
#pragma once

#include <array>
#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "api/veskalib.h"
#include "host/accents.h"

namespace veska {

struct QueryWord;

using FileId = uint32_t;
using WordId = uint32_t;

// One file that holds a word.
struct Posting {
  FileId file;
  uint32_t occurrences;  // 1 to 256 for each time that the file was read; 256 means 256 or more
};

// The data of a word in the word table.
struct WordEntry {
  FileId pendingFile;  // the file that holds the word but is not among its links yet; 0: none
  uint32_t pendingOccurrences;
  uint32_t chunk;  // position in the link table, 0: none
};

struct FileRecord {
  FileId parent;     // 0: a folder
  uint32_t size;     // bytes, modulo 2^32
  std::time_t time;  // last written
  const char* name;  // a folder's full path, a file's name, an archive member's path in the archive

  bool isFolder() const { return parent == 0; }
  bool isObsolete() const { return static_cast<unsigned char>(name[0]) == 0xFF; }
};

class Reader {
 public:
  // The index must outlive the reader and not change meanwhile.
  explicit Reader(CVeskaIndex* index);
  // The same for an index of Unicode text. folder: of the generation, where the accents lie.
  Reader(CVeskaIndex* index, std::string folder);

  // Whether the index is one of Unicode text.
  bool unicode() const { return unicode_; }

  // Words
  // ------------------------------------------------------------------------------------------

  // word: folded, in the index's character set. Result: 0 when no file ever held it.
  WordId lookup(const std::string& word) const;
  bool isSkipWord(const std::string& word) const;
  // The words in the order in which they came; 0 after the last.
  WordId firstWord() const;
  WordId nextWord(WordId word) const;
  const char* wordText(WordId word) const;  // folded, in the index's character set
  // Does a folded word match the term with the wildcards * and ?, themselves no part of words?
  bool matches(const char* word, const std::string& term) const;
  // The same; a term without accents also finds words with them.
  bool matchesPlain(const char* word, const std::string& term) const;
  // The words with accents that a word without any stands for beside itself.
  std::vector<std::string> accentedFormsOf(const std::string& word);
  WordEntry wordEntry(WordId word) const;

  // Postings
  // ---------------------------------------------------------------------------------------

  // The live files that hold a word, by ascending id, each once.
  std::vector<Posting> postings(WordId word);
  // Those of all words that the word of a query stands for, merged.
  std::vector<Posting> postings(const QueryWord& word);

  // Files
  // ------------------------------------------------------------------------------------------

  FileRecord record(FileId file) const;
  // Neither the record nor a folder or archive that it lies in is obsolete.
  bool isLive(FileId file);
  // The folder record that a file lies in, through all archives; of a folder, itself.
  FileId folderOf(FileId file) const;
  // FOLDER/FILE, FOLDER/ARCHIVE/MEMBER, ...: bytes, as the file system has them.
  std::string path(FileId file) const;
  // All records, folders and obsolete ones too, in the order in which they came; 0 after the last.
  FileId firstFile() const;
  FileId nextFile(FileId file) const;

  CVeskaIndex* index() const { return index_; }

 private:
  // Whether a parent is live, remembered for the last ones asked: files of one folder follow each
  // other.
  struct KnownParent {
    FileId id = 0;
    bool live = false;
  };

  void appendMatches(const std::string& term, std::vector<Posting>& out);
  void appendHolders(const std::string& character, std::vector<Posting>& out);
  template <typename F>
  void appendWhere(F&& next, std::vector<Posting>& out);
  const AccentTable& accents();
  void appendPostings(WordId word, std::vector<Posting>& out);
  uint32_t appendChunk(uint32_t begin, uint32_t limit, std::vector<Posting>& out);
  void appendLive(FileId file, uint32_t occurrences, std::vector<Posting>& out);
  bool parentIsLive(FileId parent);
  bool chainIsLive(FileId file) const;

  CVeskaIndex* index_;
  CTextStorage* words_;
  CFileStorage* files_;
  CFileLinks* links_;  // may be null
  bool unicode_ = false;
  std::string folder_;
  std::optional<AccentTable> accents_;  // read when first needed
  std::array<KnownParent, 256> knownParents_{};
};

// Fails: the index is damaged, run `veska rebuild`. what: the first thing that was found wrong.
[[noreturn]] void failDamaged(const std::string& what);

}  // namespace veska
