#include <cstdlib>
#include <memory>

#include "api/guard.h"
#include "api/veskalib.h"
#include "storage/filecontents.h"

CFileContents* vidxGetFileContents(CVeskaIndex* index, unsigned long fileId, unsigned long maxBytes,
                                   int lineWidth, bool option, int defaultDistance) {
  return guarded<CFileContents*>(nullptr, [&] {
    return std::make_unique<CFileContents>(index, fileId, maxBytes, lineWidth, option,
                                           defaultDistance)
        .release();
  });
}

const char* vfcFilePath(CFileContents* contents) { return contents->filePath().c_str(); }

const char* vfcNext(CFileContents* contents) { return contents->advanceLine().c_str(); }

const char* vfcContents(CFileContents* contents) {
  const char* const text = contents->contents();
  return text == nullptr ? "" : text;
}

bool vfcContainsHit(CFileContents* contents, const char* query) {
  return contents->containsHit(query);
}

void vfcConvertToOutline(CFileContents* contents, const char* query) {
  contents->convertToOutline(query);
}

unsigned long vfcTokenLength(CFileContents* contents, unsigned long offset) {
  return contents->tokenLength(offset);
}

unsigned long vfcSearchBuffer(CFileContents* contents, unsigned long offset, const char* query) {
  return contents->searchBuffer(offset, query);
}

void vfcDeleteContentsObject(CFileContents* contents) {
  const std::unique_ptr<CFileContents> owned(contents);
}

void vDeleteChar(void* block) { std::free(block); }
