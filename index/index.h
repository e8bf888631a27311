// CVeskaIndex: the one object through which a host works. It owns the tables of an index, every
// setting, counter, character class, pattern list and analyzer. Its algorithms stand one to a file:
//   index.cpp       life: construction, opening, saving, emptying
//   words.cpp       character classes, one word into the index, the splitting of skip words
//   directory.cpp   walking trees
//   patterns.cpp    the pattern language of names, include and exclude lists
//   terms.cpp       wildcard terms of queries
//   pruning.cpp     bringing an index up to date
//   compaction.cpp  from word links to the link lists of the words
//   skipwords.cpp   the skip-word file
//   registry.cpp    analyzers by name, external converters, extraction of archive members
//   entities.cpp    named HTML entities

#ifndef VESKA_INDEX_INDEX_H_
#define VESKA_INDEX_INDEX_H_

#include <cstdint>
#include <ctime>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "api/export.h"
#include "index/expansion.h"
#include "index/owned.h"
#include "storage/filestorage.h"
#include "storage/linkstorage.h"
#include "storage/textstorage.h"

class CFileAnalyzer;

// The 16 bytes of data in front of each word in the word table.
//   0  file in which the word was last seen, 0: never. That pairing is pending: it is not among the
//      links yet
//   4  occurrences there after the first, saturating at 255 (16 bits; 2 spare bytes follow)
//   8  position in the link table: where the newest chunk begins, 0: no chunk
//  12  files handed to the word links since the last compaction (signed)
struct WordData {
  static constexpr unsigned kLastFile = 0;
  static constexpr unsigned kCount = 4;
  static constexpr unsigned kChunk = 8;
  static constexpr unsigned kHanded = 12;
  static constexpr unsigned kBytes = 16;
  static constexpr unsigned kMaxCount = 255;
};

class VESKA_API CVeskaIndex {
 public:
  // create true: makes empty tables in the directory indexPath (with a trailing "/"). false: opens
  // the saved ones, read-only. Raises "StorageReadError" and what the tables raise.
  CVeskaIndex(bool create, std::string indexPath);
  ~CVeskaIndex();
  CVeskaIndex(const CVeskaIndex&) = delete;
  CVeskaIndex& operator=(const CVeskaIndex&) = delete;

  // Life ------------------------------------------------------------------------------------------

  // Frees analyzers, tables and patterns; sets the defaults that the fields below name.
  void clear();
  void freeMemFiles();
  // Starts afresh in the same directory; the skip words stay, the link table is gone until made.
  void emptyIndex();
  // Makes the tables read-only and writes "hash" into indexPath, whole or not at all.
  // Raises "StorageReadError" (indexPath).
  void storeStorage(std::string indexPath);
  // Makes words, files, skipped and links writable or read-only.
  void enableWrite(bool on);
  // Are names of files that differ only in case different? Off by default.
  void setExactNames(bool on);

  // Words -----------------------------------------------------------------------------------------

  // On for bytes 0 to 255; others are ignored. Byte 0 is never in a class.
  void setValidCharMask(int byte, bool on);
  void setValidTrailingMask(int byte, bool on);
  void setValidViewableMask(int byte, bool on);
  void setNonAlphaCharMask(int byte, bool on);

  // Records one occurrence of a word, folded and split by the caller, in a file. The pairing with a
  // file is handed to the word links when the word is met in the next file. The empty word is
  // ignored. Raises "AssertionFailed" without a word-link table, and what the tables raise.
  void indexWord(const char* word, unsigned long fileId);
  // As above, with hash = hashText(word) already known.
  void indexWord(const char* word, size_t length, uint32_t hash, unsigned long fileId);

  // Id of a skip word, added when it is new.
  unsigned long indexExcludedWord(const char* word);
  // Splits length bytes of skip words, rewriting them in place; an unfinished last word goes to
  // pendingWord.
  void indexExcludeBuffer(char* buffer, unsigned long length);
  // Makes the skip-word table anew from the skip file. Raises "SkipOpenFail" (its path).
  void indexExclusions();

  // Trees -----------------------------------------------------------------------------------------

  // Indexes what lies below the folder path (no trailing "/", except the root), whose record is
  // parentId. Raises "HaltRequested" and what tables and analyzers raise.
  void indexDirectory(const char* path, unsigned long parentId);
  // Adds only what has no record yet.
  void updateDirectory(const char* path, unsigned long parentId);
  // Visits every record: marks what vanished, re-indexes what changed. Raises "HaltRequested",
  // "PruneParentError".
  void prune();

  // Links -----------------------------------------------------------------------------------------

  // Makes "links" and "temp" anew, and forgets every word's chunks.
  void newFileLinks();
  // Writes the word links into chunks of the link table, and ends the rebuild. Raises
  // "AssertionFailed" without word links or link table.
  void compressLinks();

  // Names and terms -------------------------------------------------------------------------------

  // Drops all patterns of the list; makes count empty slots.
  void setIncludeCount(int count);
  void setExcludeCount(int count);
  // Slots outside the count are ignored. Posts the warning "AnalyzerNotFound" (analyzerName); the
  // pattern is in force all the same.
  void setIncludePattern(int slot, const char* pattern, const char* analyzerName);
  // Result: the stored copy, null for a slot outside the count.
  char* setExcludePattern(int slot, const char* pattern);
  // Does some exclude pattern match?
  bool isExcluded(const char* name) const;
  // Analyzer of the first include pattern that matches, null if there is none.
  CFileAnalyzer* analyzerThatMatches(const char* name) const;
  // Can something below a folder match the pattern? "/" and "\" separate; operators mean nothing.
  bool dirMatch(const char* path, const char* pattern) const;
  // Does a word match a query term with the wildcards "*" and "?"?
  bool doesWordMatch(const char* word, const char* term) const;
  // The next word of the word table behind the word id (0: from the first) that matches the term;
  // 0 when there is none. The words of the table are folded, as the tokenizers leave them. A term
  // with three bytes or more in a row that are no wildcards takes one fast scan of the table.
  // Raises "AssertionFailed" on damage. REQUIRES: id is 0 or a word.
  unsigned long nextMatchingWord(const char* term, unsigned long id) const;

  // Analyzers -------------------------------------------------------------------------------------

  // Fills the registry. Raises "externalAnalyzersFileTooBig" (path).
  void createAnalyzers();
  void clearAnalyzers();
  // The registered analyzer of a name, null if there is none.
  CFileAnalyzer* analyzerNamed(const std::string& name) const;
  // Copies a member of an archive or mailbox into a temporary file. Result: its path, empty on any
  // failure.
  std::string extractToTempFile(const char* container, const char* member, unsigned long number);
  // The same for a member deeper down: archives within archives are gone through where they stand,
  // as far as they can be read there. records: of the members on the way down. levels: set to the
  // number of that record, from 1, whose copy was made. REQUIRES: at least one record.
  std::string extractNested(const char* container, std::span<const uint32_t> records,
                            size_t* levels);
  // The character of an entity name (the text between "&" and ";"), a space when it is unknown.
  char htmlChar(const char* name) const;

  // Progress --------------------------------------------------------------------------------------

  // Is a progress report due (on, and at least a second after the last)? lastStatusTime is set when
  // the report was answered with true: call postProgress next.
  bool progressDue() const;
  // Posts; raises "HaltRequested" when the answer is false.
  void postProgress(const char* key, const std::string& detail);
  // Counts bytes that an analyzer read, and posts "BytesIndexing" where the status level asks for
  // it.
  void countBytesRead(unsigned long bytes, const char* path);

  // State, in the order that hosts written in C++ rely on. Fields without a stated default are zero
  // at first.
  Owned<CTextStorage> words;
  Owned<CFileStorage> files;
  Owned<CTextStorage> skipped;
  Owned<CFileLinks> links;
  Owned<CWordLinks> wordLinks;       // only while links are rebuilt
  bool useRanking = true;            // by clear
  int minWordLength = 3;             // by clear
  int maxWordLength = 16;            // by clear
  unsigned long maxPerFileRead = 0;  // bytes
  bool showStatus = false;
  bool isUpdate = false;  // by clear
  bool trackAll = true;   // by clear
  std::string temporaryDirectory;
  char pendingWord[1024] = {};  // unfinished last word of a block; also the hooks' carry area
  std::map<std::string, char> entities;
  unsigned long contentsIndexed = 0;
  unsigned long filesIndexed = 0;
  unsigned long wordsIndexed = 0;
  double bytesRead = 0;
  long timeBase = 0;  // Unix seconds
  std::map<std::string, Owned<CFileAnalyzer>> analyzers;
  unsigned long directoriesRead = 0;
  time_t lastStatusTime = 0;
  void* reserved = nullptr;
  std::string indexPath;
  std::string skippedDirectory;  // never walked; empty: none
  std::string skipFilePath;
  int internationalChar = 0;
  char** includePatterns = nullptr;            // null-terminated, owned, by the C allocator
  char** excludePatterns = nullptr;            // null-terminated, owned, by the C allocator
  CFileAnalyzer** includeAnalyzers = nullptr;  // the array is owned, the analyzers are not
  bool savePassword = false;
  int numberHandling = 0;  // by clear
  bool validCharMask[256] = {};
  bool validTrailingMask[256] = {};
  bool validViewableMask[256] = {};
  bool nonAlphaCharMask[256] = {};
  bool binaryCharMask[256] = {};  // control bytes that mark data as binary

  // Settings beyond the minimum.
  bool exactNames = false;  // by setExactNames
  bool exactUpdate = false;
  bool unicode = false;  // words and display text are UTF-8
  int statusLevel = 0;
  std::vector<std::string>
      keptTrees;         // folders that prune leaves alone with all below; none by clear
  int maxNesting = 100;  // archives within archives
  unsigned long maxMemberBytes = 0;   // 0: no limit
  unsigned long maxArchiveBytes = 0;  // 0: no limit; for all members of a top file together
  int maxConverterSeconds = 0;        // 0: no limit
  unsigned long limitsReached = 0;
  Expansion expansion;  // of the top file that is being read
  // Set by analyzers when the system refused to open or read a file: it is to be taken up again.
  bool readFailed = false;

  // Folder that holds "externanalyzers.txt" and "skipfile.txt", with its "/": the index path up to
  // and including the fourth "/" from its end.
  std::string configurationDirectory() const;

 private:
  void createTables();
  void openTables();
  std::unique_ptr<CFileStorage> newFileTable() const;
  std::unique_ptr<CTextStorage> newWordTable() const;
  std::unique_ptr<CTextStorage> newSkipTable() const;
  std::unique_ptr<CFileLinks> newLinkTable() const;
  void startWordLinks();
  void retire(std::unique_ptr<CFileMemory> table);
  void addEntities();

  void indexEntry(const std::string& path, const char* name, const FileInfo& info, uint32_t parent);
  uint32_t folderRecord(const std::string& path, const FileInfo& info);
  void updateEntry(const std::string& path, const char* name, unsigned char type, uint32_t parent);
  void postWalkStatus(const std::string& path);
  CFileAnalyzer* includedAnalyzer(const char* path) const;
  CFileAnalyzer* wantedAnalyzer(const char* path) const;
  void runAnalyzer(CFileAnalyzer& analyzer, const std::string& path, uint32_t id);

  void pruneRecord(uint32_t id);
  bool recordPath(uint32_t id, std::string& path) const;
  bool isRoot(uint32_t id, const std::string& path) const;
  bool isKept(const std::string& path) const;
  void pruneFolder(uint32_t id, const std::string& path, const FileInfo& now, int64_t modified);
  void pruneFile(uint32_t id, const std::string& path, const FileInfo& now, int64_t modified);
  void reindexFile(uint32_t id, const std::string& path, const FileInfo& now,
                   CFileAnalyzer& analyzer);

  uint64_t makeChunks();
  bool fillChunks(uint64_t expected);
  void zeroHandedCounts();

  bool isWildcard(char c) const;
  std::string longestLiteral(std::string_view term) const;

  void indexUnicodeExclusions(const std::string& path);
  void addTextAnalyzers();
  void readExternalAnalyzers();
  void addExternalAnalyzer(const std::string& name, const std::string& extension,
                           const std::string& command);

  int includeCount_ = 0;
  int excludeCount_ = 0;
  std::vector<std::unique_ptr<CFileMemory>> retiredTables_;  // emptied; kept for hosts' handles
  std::vector<std::unique_ptr<CFileAnalyzer>>
      replacedAnalyzers_;  // include slots may still use them
};

// Does the name match the first term of the pattern?
//   "?" one character, "*" any run, "^" at the start of a term negates it. Both are folded.
VESKA_API bool termMatch(const char* name, const char* pattern);

// Does the name match the whole pattern, its terms joined by "&", "|", "^" (and not) and evaluated
// from left to right without precedence?
VESKA_API bool fileNameMatch(const char* name, const char* pattern);

#endif  // VESKA_INDEX_INDEX_H_
