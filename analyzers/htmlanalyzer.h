// CHtmlAnalyzer: HTML and markup like it, read through the character hooks. While indexing,
// two-byte UTF-8 sequences and numeric references are decoded, and tags count as text. For display,
// tags and scripts go when the host wants it, and tags that begin a line become line feeds.

#ifndef VESKA_ANALYZERS_HTMLANALYZER_H_
#define VESKA_ANALYZERS_HTMLANALYZER_H_

#include "analyzers/fileanalyzer.h"

class VESKA_API CHtmlAnalyzer : public CFileAnalyzer {
 public:
  explicit CHtmlAnalyzer(CVeskaIndex* owner);

  // A reference that the block's end cuts is lost but for what goes to the carry area.
  bool checkIndexCharacter(char* c, char** cursor, char** wordStart, char** wordEnd,
                           char** bufferStart, unsigned long len) override;

  // option: without tags. *state: 0 text, 1 inside a tag, -1 inside a script.
  bool checkStripCharacter(unsigned char* c, char** cursor, unsigned long* remaining,
                           char previousOut, bool option, int* state) override;

 private:
  bool stripTags(unsigned char* c, char** cursor, unsigned long* remaining, char previousOut,
                 int* state);
  bool beginTag(unsigned char* c, char** cursor, unsigned long* remaining, int* state);
  bool endTag(unsigned char* c, char** cursor, unsigned long* remaining, char previousOut,
              int* state);
  bool isInsideWord(char before, const char* after, unsigned long bytes) const;
  bool isWordByte(char c) const;

  bool inlineTag_ = false;  // the tag at hand may stand inside a word
};

#endif  // VESKA_ANALYZERS_HTMLANALYZER_H_
