// CRtfAnalyzer: Rich Text Format, read through the character hooks rather than parsed. While
// indexing, control words go and escapes are decoded, so that the words of the text stay whole, and
// no group is left out. For display, the groups that hold no readable text are left out by counting
// braces.

#ifndef VESKA_ANALYZERS_RTFANALYZER_H_
#define VESKA_ANALYZERS_RTFANALYZER_H_

#include "analyzers/fileanalyzer.h"

class VESKA_API CRtfAnalyzer : public CFileAnalyzer {
 public:
  explicit CRtfAnalyzer(CVeskaIndex* owner);

  // Both look at the first block's header for the Mac character set.
  unsigned long indexBuffer(char* buf, unsigned long len, unsigned long parentId,
                            bool firstBlock) override;
  unsigned long stripBuffer(char* in, unsigned long inLen, char* out, unsigned long outSize,
                            int lineWidth, bool option, bool firstBlock, int* state) override;

  // A control sequence that the block's end cuts is lost but for what goes to the carry area.
  bool checkIndexCharacter(char* c, char** cursor, char** wordStart, char** wordEnd,
                           char** bufferStart, unsigned long len) override;

  // *state: 0 text, -1 inside a control word, -2 behind its space, n in a skipped group, n deep.
  bool checkStripCharacter(unsigned char* c, char** cursor, unsigned long* remaining,
                           char previousOut, bool option, int* state) override;

 private:
  void readHeader(const char* block, unsigned long len, bool firstBlock);
  char escapedCharacter(char high, char low) const;
  bool stripControl(unsigned char* c, char** cursor, unsigned long* remaining, int* state) const;

  bool macCharset = false;
};

#endif  // VESKA_ANALYZERS_RTFANALYZER_H_
