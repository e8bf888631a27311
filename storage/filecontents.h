// CFileContents: the readable text of one indexed file, line by line, with the hits of a query in
// it. The file is found on disk through its record's ancestors; a member of an archive is extracted
// level by level; the analyzer that its name selects makes the text.

#ifndef VESKA_STORAGE_FILECONTENTS_H_
#define VESKA_STORAGE_FILECONTENTS_H_

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "api/export.h"
#include "storage/hitterms.h"

class CVeskaIndex;
class HitFinder;

class VESKA_API CFileContents {
 public:
  // Builds the text of the record fileId: at most maxBytes bytes, lines wrapped after lineWidth
  // characters (0: not), without mark-up when option is set. defaultDistance: words for a proximity
  // condition without a number. Raises "AssertionFailed" (no such record), "NoFileContentsForDir",
  // "ArchivesNestedTooDeep", "ArchiveExtractError", and what fillDisplayBuffer raises.
  CFileContents(CVeskaIndex* index, unsigned long fileId, unsigned long maxBytes, int lineWidth,
                bool option, int defaultDistance);
  ~CFileContents();
  CFileContents(const CFileContents&) = delete;
  CFileContents& operator=(const CFileContents&) = delete;

  // The text, null if there is none. Owned by the object.
  char* contents() const { return contents_.get(); }

  // Path of the file that the analyzer read.
  const std::string& filePath() const { return filePath_; }

  // The next line with its newline. Raises "EndOfContents" after the last.
  std::string nextLine();
  // As above; valid until the next call.
  const std::string& advanceLine();

  // Does the text hold a hit?
  bool containsHit(const char* query);

  // Offset + 1 of the first hit from offset on, 0 when there is none.
  unsigned long searchBuffer(unsigned long offset, const char* query);

  // First byte of the first hit from start on, in either direction, among at most maxWords + 1
  // words (0: no bound). Forwards, the terminating zero when there is none; backwards, the position
  // before the text (to be compared, never read).
  char* searchBuffer(char* start, const char* query, int maxWords, bool backwards);

  // Does the word at text match the pattern term? atStart: its first byte begins a word.
  bool isMatch(const char* text, const char* pattern, bool atStart);

  // Rewrites the text into the lines that hold hits.
  void convertToOutline(const char* query);

  // Length of the word that begins at offset; 0 when none does.
  unsigned long tokenLength(unsigned long offset);

 private:
  struct FreeDeleter {
    void operator()(char* text) const { std::free(text); }
  };

  std::string displayName(const std::vector<uint32_t>& path) const;
  std::vector<uint32_t> recordPath(uint32_t fileId) const;
  void readText(const std::vector<uint32_t>& path, uint32_t fileId, bool option);
  const char* recordName(uint32_t id) const;
  HitFinder& search(const char* query);
  unsigned long outlineLength(const char* hit, const char** wordEnd) const;

  CVeskaIndex* index_;
  std::string filePath_;
  bool extracted_ = false;
  uint32_t maxBytes_;
  int32_t lineWidth_;
  int32_t defaultDistance_;
  char* lineCursor_ = nullptr;
  std::unique_ptr<char, FreeDeleter> contents_;
  WordClasses classes_;  // start: the index's valid bytes; inside: those and the trailing ones
  std::string currentLine_;

  size_t length_ = 0;                  // of the text
  std::unique_ptr<HitFinder> search_;  // the last query; null when the text has changed since
};

#endif  // VESKA_STORAGE_FILECONTENTS_H_
