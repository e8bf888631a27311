#include "analyzers/fileanalyzer.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "analyzers/charsets.h"
#include "api/reporting.h"
#include "index/index.h"

namespace {

void convert(char* buf, unsigned long len, const unsigned char (&table)[256]) {
  for (char* at = buf; at != buf + len; ++at)
    *at = static_cast<char>(table[static_cast<unsigned char>(*at)]);
}

// A regular file open for reading; anything else, a pipe say, is not opened.
class InputFile {
 public:
  explicit InputFile(const char* path)
      : descriptor_(open(path, O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK)) {
    struct stat status {};
    if (descriptor_ < 0 || (fstat(descriptor_, &status) == 0 && S_ISREG(status.st_mode))) return;
    close(descriptor_);
    descriptor_ = -1;
  }
  ~InputFile() {
    if (descriptor_ >= 0) close(descriptor_);
  }
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;

  bool isOpen() const { return descriptor_ >= 0; }
  bool failed() const { return failed_; }

  // Bytes read, fewer than asked for only at the end or on an error, which counts as the end.
  size_t read(char* to, size_t bytes) {
    size_t have = 0;
    while (have < bytes) {
      const ssize_t got = ::read(descriptor_, to + have, bytes - have);
      if (got < 0 && errno == EINTR) continue;
      if (got < 0) failed_ = true;
      if (got <= 0) break;
      have += static_cast<size_t>(got);
    }
    return have;
  }

 private:
  int descriptor_;
  bool failed_ = false;
};

}  // namespace

CFileAnalyzer::CFileAnalyzer(CVeskaIndex* owner) : index(owner) {}
CFileAnalyzer::~CFileAnalyzer() = default;

bool CFileAnalyzer::canUseIndexBuffer() { return true; }

bool CFileAnalyzer::indexFile(const char* path, unsigned long parentId) {
  InputFile file(path);
  if (!file.isOpen()) {
    index->readFailed = true;
    reportProblem("OpenFailed", path);
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
