#include "analyzers/fileanalyzer.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "analyzers/charsets.h"
#include "analyzers/inputfile.h"
#include "analyzers/unicode/textanalyzer.h"
#include "api/reporting.h"
#include "index/index.h"

namespace {

void convert(char* buf, unsigned long len, const unsigned char (&table)[256]) {
  for (char* at = buf; at != buf + len; ++at)
    *at = static_cast<char>(table[static_cast<unsigned char>(*at)]);
}

}  // namespace

CFileAnalyzer::CFileAnalyzer(CVeskaIndex* owner) : index(owner) {}
CFileAnalyzer::~CFileAnalyzer() = default;

bool CFileAnalyzer::canUseIndexBuffer() { return true; }

bool CFileAnalyzer::indexFile(const char* path, unsigned long parentId) {
  InputFile file(path);
  if (!file.isOpen()) {
    index->readFailed = true;
    reportProblem("OpenFailed", path, errno);
    return false;
  }
  indexBlocks([&file](char* to, size_t bytes) { return file.read(to, bytes); }, *this, path,
              parentId);
  if (file.failed()) {
    index->readFailed = true;
    reportProblem("ReadFailed", path);
  }
  return true;
}

// A word that a block's end cuts is offered only where the read limit ends the file there.
void CFileAnalyzer::indexBlocks(const BlockReader& read, CFileAnalyzer& analyzer, const char* path,
                                unsigned long recordId) {
  if (auto* textAnalyzer = dynamic_cast<CTextAnalyzer*>(&analyzer)) {
    textAnalyzer->indexStream(read, path, recordId);
    return;
  }
  char buffer[kBlockBytes];
  const unsigned long limit = index->maxPerFileRead;
  unsigned long total = 0;
  index->pendingWord[0] = 0;
  for (;;) {
    const size_t got = read(buffer, std::min(limit - total, kBlockBytes));
    if (got == 0) break;
    index->pendingWord[0] = 0;
    analyzer.indexBuffer(buffer, got, recordId, total == 0);
    index->countBytesRead(got, path);
    total += got;
    if (total < limit) continue;
    if (std::strlen(index->pendingWord) >= static_cast<unsigned>(index->minWordLength))
      index->indexWord(index->pendingWord, recordId);
    break;
  }
  ++index->contentsIndexed;
}

void CFileAnalyzer::convertRawBuffer(char*, unsigned long) {}

void CMacRomanAnalyzer::convertRawBuffer(char* buf, unsigned long len) {
  convert(buf, len, kMacRomanToWindows);
}

void CDosOemAnalyzer::convertRawBuffer(char* buf, unsigned long len) {
  convert(buf, len, kDosOemToWindows);
}

bool CFileAnalyzer::extractToTempFile(const char*, const char*, const char*, unsigned long) {
  return false;
}

bool CFileAnalyzer::checkIndexCharacter(char*, char**, char**, char**, char**, unsigned long) {
  return false;
}

bool CFileAnalyzer::checkStripCharacter(unsigned char*, char**, unsigned long*, char, bool, int*) {
  return false;
}
