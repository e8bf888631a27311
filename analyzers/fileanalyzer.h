// CFileAnalyzer: the base of every document analyzer. It reads a file in blocks, converts each to
// the index's 8-bit character set, cuts the text into words and hands each to the index; and it
// turns a file into clean, line-broken text for display. Document kinds change the behaviour through
// the virtual slots only.
//
// The slots, in an order that must stay:
//   1, 2  destructor
//   3  canUseIndexBuffer    may indexBuffer be fed with raw blocks of the file?
//   4  indexBuffer          cuts one block into words
//   5  indexFile            reads a file and indexes it
//   6  convertRawBuffer     character set of a block, in place
//   7  extractToTempFile    containers: copies one member out
//   8  fillDisplayBuffer    display text of a file
//   9  stripBuffer          display text of one block
//  10  checkIndexCharacter  hook for each character while indexing
//  11  checkStripCharacter  hook for each character of display text

#ifndef VESKA_ANALYZERS_FILEANALYZER_H_
#define VESKA_ANALYZERS_FILEANALYZER_H_

#include <cstddef>
#include <functional>
#include <string>

#include "api/export.h"

class CVeskaIndex;

class VESKA_API CFileAnalyzer {
 public:
  static constexpr unsigned long kBlockBytes = 65535;
  static constexpr unsigned long kDisplayBlockBytes = 131070;

  // index: owns this analyzer, and outlives it.
  explicit CFileAnalyzer(CVeskaIndex* index);
  virtual ~CFileAnalyzer();
  CFileAnalyzer(const CFileAnalyzer&) = delete;
  CFileAnalyzer& operator=(const CFileAnalyzer&) = delete;

  // False for containers and converters.
  virtual bool canUseIndexBuffer();

  // Cuts len bytes at buf into words of the record parentId, rewriting them in place. firstBlock:
  // these are the first bytes of a file. A word that is cut by the block's end goes to the index's
  // pendingWord. Result: the length of that fragment, or if there is none the bytes scanned.
  virtual unsigned long indexBuffer(char* buf, unsigned long len, unsigned long parentId,
                                    bool firstBlock);

  // Indexes the file path as the contents of the record parentId. Result: false when it could not be
  // opened. Raises "HaltRequested" and what the index raises.
  // Deliberate: the last word of a file that ends without a separator is left out, and a word cut by
  // a block's end is indexed as its second piece.
  virtual bool indexFile(const char* path, unsigned long parentId);

  // Converts len bytes in place to the index's character set.
  virtual void convertRawBuffer(char* buf, unsigned long len);

  // Copies the member of a container to tempPath, a file that does not exist yet; id is the
  // member's record. Result: false when nothing was written.
  virtual bool extractToTempFile(const char* container, const char* member, const char* tempPath,
                                 unsigned long id);

  // Display text of the file path, whose record is fileId: at most maxBytes bytes and a zero, lines
  // wrapped after lineWidth characters (0: not); option: without mark-up. Result: to be freed with
  // free. Raises "CannotOpenContentsFile" (path), "NoMemory".
  virtual char* fillDisplayBuffer(const char* path, unsigned long fileId, unsigned long maxBytes,
                                  int lineWidth, bool option);

  // Display text of one block, at most outSize - 1 bytes and a zero into out. state: the hooks'
  // own, 0 at the start of a file. Result: bytes written.
  virtual unsigned long stripBuffer(char* in, unsigned long inLen, char* out, unsigned long outSize,
                                    int lineWidth, bool option, bool firstBlock, int* state);

  // Called for each character when useCharacterHooks is set. True: the hook consumed input itself.
  // False: *c, which it may have replaced, is the character at *cursor.
  virtual bool checkIndexCharacter(char* c, char** cursor, char** wordStart, char** wordEnd,
                                   char** bufferStart, unsigned long len);

  // As above; *remaining counts the input after *c, previousOut is the last character written. True:
  // the character is consumed.
  virtual bool checkStripCharacter(unsigned char* c, char** cursor, unsigned long* remaining,
                                   char previousOut, bool option, int* state);

 protected:
  // Reads up to so many bytes to where it is told; 0 at the end.
  using BlockReader = std::function<size_t(char* to, size_t bytes)>;

  // The block loop of indexFile over any source of bytes: reads what the per-file limit allows, and
  // counts bytes and the file. analyzer cuts the words; path is named in progress reports.
  void indexBlocks(const BlockReader& read, CFileAnalyzer& analyzer, const char* path,
                   unsigned long recordId);

  // The block loop of fillDisplayBuffer over any source of bytes; statusKey: what is posted at most
  // once a second, with path. Raises "NoMemory".
  char* displayBlocks(const BlockReader& read, const char* path, const char* statusKey,
                      unsigned long maxBytes, int lineWidth, bool option);

  CVeskaIndex* index;
  bool useCharacterHooks = false;
};

// Text in the Mac Roman character set.
class VESKA_API CMacRomanAnalyzer : public CFileAnalyzer {
 public:
  using CFileAnalyzer::CFileAnalyzer;
  void convertRawBuffer(char* buf, unsigned long len) override;
};

// Text in the DOS character set (code page 850 layout).
class VESKA_API CDosOemAnalyzer : public CFileAnalyzer {
 public:
  using CFileAnalyzer::CFileAnalyzer;
  void convertRawBuffer(char* buf, unsigned long len) override;
};

#endif  // VESKA_ANALYZERS_FILEANALYZER_H_
