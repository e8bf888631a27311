#include <algorithm>

#include "api/guard.h"
#include "api/times.h"
#include "api/veskalib.h"
#include "index/index.h"

namespace {

constexpr int kMostNesting = 100;

}  // namespace

void vidxSetMinWordLength(CVeskaIndex* index, int length) { index->minWordLength = length; }
void vidxSetMaxWordLength(CVeskaIndex* index, int length) { index->maxWordLength = length; }
void vidxSetMaxPerFileRead(CVeskaIndex* index, unsigned long bytes) {
  index->maxPerFileRead = bytes;
}
void vidxSetUseRanking(CVeskaIndex* index, bool on) { index->useRanking = on; }
void vidxSetTrackAll(CVeskaIndex* index, bool on) { index->trackAll = on; }
void vidxSetIsUpdate(CVeskaIndex* index, bool on) { index->isUpdate = on; }
void vidxSetShowStatus(CVeskaIndex* index, bool on) { index->showStatus = on; }
void vidxSetNumberHandling(CVeskaIndex* index, int value) { index->numberHandling = value; }
void vidxSetInternationalChar(CVeskaIndex* index, int value) { index->internationalChar = value; }
void vidxSetSavePassword(CVeskaIndex* index, bool on) { index->savePassword = on; }
void vidxSetTimeBase(CVeskaIndex* index, double secondsSince1904) {
  index->timeBase = fromHostTime<long>(secondsSince1904);
}
void vidxSetSkipFilePath(CVeskaIndex* index, const char* path) { index->skipFilePath = path; }
void vidxSetTemporaryDirectory(CVeskaIndex* index, const char* path) {
  index->temporaryDirectory = path;
}

void vidxSetValidCharMask(CVeskaIndex* index, int byte, bool on) {
  index->setValidCharMask(byte, on);
}
void vidxSetValidTrailingMask(CVeskaIndex* index, int byte, bool on) {
  index->setValidTrailingMask(byte, on);
}
void vidxSetValidViewableMask(CVeskaIndex* index, int byte, bool on) {
  index->setValidViewableMask(byte, on);
}
void vidxSetNonAlphaCharMask(CVeskaIndex* index, int byte, bool on) {
  index->setNonAlphaCharMask(byte, on);
}

void vidxSetIncludeCount(CVeskaIndex* index, int count) {
  guarded([&] { index->setIncludeCount(count); });
}
void vidxSetIncludePattern(CVeskaIndex* index, int slot, const char* pattern,
                           const char* analyzerName) {
  guarded([&] { index->setIncludePattern(slot, pattern, analyzerName); });
}
void vidxSetExcludeCount(CVeskaIndex* index, int count) {
  guarded([&] { index->setExcludeCount(count); });
}
void vidxSetExcludePattern(CVeskaIndex* index, int slot, const char* pattern) {
  guarded([&] { index->setExcludePattern(slot, pattern); });
}

void vidxSetExactNames(CVeskaIndex* index, bool on) { index->setExactNames(on); }
void vidxSetExactUpdate(CVeskaIndex* index, bool on) { index->exactUpdate = on; }
void vidxSetStatusLevel(CVeskaIndex* index, int level) { index->statusLevel = level; }
void vidxKeepTree(CVeskaIndex* index, const char* path) {
  if (path && *path) {
    index->keptTrees.emplace_back(path);
  } else {
    index->keptTrees.clear();
  }
}
void vidxSetMaxNesting(CVeskaIndex* index, int levels) {
  index->maxNesting = std::clamp(levels, 0, kMostNesting);
}
void vidxSetMaxMemberBytes(CVeskaIndex* index, unsigned long bytes) {
  index->maxMemberBytes = bytes;
}
void vidxSetMaxArchiveBytes(CVeskaIndex* index, unsigned long bytes) {
  index->maxArchiveBytes = bytes;
}
void vidxSetMaxConverterSeconds(CVeskaIndex* index, int seconds) {
  index->maxConverterSeconds = std::max(seconds, 0);
}
unsigned long vidxGetLimitsReached(CVeskaIndex* index) { return index->limitsReached; }

unsigned long vidxGetDirectoriesRead(CVeskaIndex* index) { return index->directoriesRead; }
unsigned long vidxGetFilesIndexed(CVeskaIndex* index) { return index->filesIndexed; }
unsigned long vidxGetContentsIndexed(CVeskaIndex* index) { return index->contentsIndexed; }
unsigned long vidxGetWordsIndexed(CVeskaIndex* index) { return index->wordsIndexed; }
double vidxGetBytesRead(CVeskaIndex* index) { return index->bytesRead; }
void vidxSetDirectoriesRead(CVeskaIndex* index, unsigned long count) {
  index->directoriesRead = count;
}
void vidxSetFilesIndexed(CVeskaIndex* index, unsigned long count) { index->filesIndexed = count; }
void vidxSetContentsIndexed(CVeskaIndex* index, unsigned long count) {
  index->contentsIndexed = count;
}
void vidxSetWordsIndexed(CVeskaIndex* index, unsigned long count) { index->wordsIndexed = count; }
void vidxSetBytesRead(CVeskaIndex* index, double bytes) { index->bytesRead = bytes; }
