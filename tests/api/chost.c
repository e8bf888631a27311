/* A host in plain C: makes an index, indexes a file, looks a word up, saves, reopens, and looks it
 * up again. It doubles as the host that is built against an installed copy. */

#define _POSIX_C_SOURCE 200809L

#ifdef VESKA_INSTALLED
#include <veska/veskalib.h>
#else
#include "api/veskalib.h"
#endif

#include <ctype.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#define CHECK(condition)                                                      \
  do {                                                                        \
    if (!(condition)) {                                                       \
      fprintf(stderr, "%s:%d: failed: %s\n", __FILE__, __LINE__, #condition); \
      exit(1);                                                                \
    }                                                                         \
  } while (0)

static char lastKey[64];
static char lastDetail[1024];
static int statusCount;

static void onError(const char* key, const char* detail) {
  snprintf(lastKey, sizeof lastKey, "%s", key);
  snprintf(lastDetail, sizeof lastDetail, "%s", detail);
}

static bool onStatus(const char* key, const char* detail, bool fromLibrary) {
  (void)fromLibrary;
  CHECK(key != NULL && detail != NULL);
  ++statusCount;
  return true;
}

static void writeText(const char* path, const char* text) {
  FILE* out = fopen(path, "w");
  CHECK(out != NULL && fputs(text, out) >= 0);
  CHECK(fclose(out) == 0);
}

static void configure(CVeskaIndex* index) {
  for (int byte = 0; byte < 256; ++byte) {
    const bool letter = byte < 128 && isalnum(byte);
    vidxSetValidCharMask(index, byte, letter);
    vidxSetValidViewableMask(index, byte, byte >= 32);
  }
  vidxSetMaxPerFileRead(index, 1000000);
  vidxSetShowStatus(index, true);
  vidxCreateAnalyzers(index);
  vidxSetIncludeCount(index, 1);
  vidxSetIncludePattern(index, 0, "*.txt", "generic");
}

/* The id of the only file that holds the word, with how often it occurs there; 0 for none. The file
 * in which a word was last seen stands in the word's data; earlier ones would be in its chunks. */
static unsigned long onlyFileWith(CVeskaIndex* index, const char* word, unsigned* occurrences) {
  CTextStorage* words = vidxGetWords(index);
  const unsigned long wordId = vtsLookup(words, word);
  if (wordId == 0) return 0;
  CHECK(strcmp(vtsGetText(words, wordId), word) == 0);

  uint32_t lastFile, chunk;
  uint16_t repeats;
  const char* data = vtsGetData(words, wordId);
  memcpy(&lastFile, data, sizeof lastFile);
  memcpy(&repeats, data + 4, sizeof repeats);
  memcpy(&chunk, data + 8, sizeof chunk);
  CHECK(lastFile != 0 && chunk == 0);
  *occurrences = repeats + 1u;
  return lastFile;
}

/* Counts the files of a word that is in every document. */
static unsigned countFiles(CVeskaIndex* index, const char* word) {
  CTextStorage* words = vidxGetWords(index);
  const unsigned long wordId = vtsLookup(words, word);
  CHECK(wordId != 0);
  uint32_t chunk;
  memcpy(&chunk, (const char*)vtsGetData(words, wordId) + 8, sizeof chunk);
  uint32_t cursor[2] = {chunk, 0};
  unsigned files = 1;
  while (vflGetFile(vidxGetLinks(index), cursor) != 0) ++files;
  CHECK(vflGetNextList(vidxGetLinks(index), cursor[0]) == 0);
  return files;
}

static void checkAnswers(CVeskaIndex* index, const char* folder) {
  unsigned occurrences = 0;
  const unsigned long file = onlyFileWith(index, "marmalade", &occurrences);
  CHECK(file != 0 && occurrences == 3);
  CHECK(onlyFileWith(index, "elephant", &occurrences) == 0);
  CHECK(countFiles(index, "more") == 2);

  CFileStorage* files = vidxGetFiles(index);
  void* record = vfsGetInfo(files, file);
  CHECK(strcmp(vfiGetFileName(record), "jars.txt") == 0);
  CHECK(vfiGetFileTimeLastWritten(record) > 2082844800.0);
  void* parent = vfsGetInfo(files, vfiGetFileParentID(record));
  CHECK(strcmp(vfiGetFileName(parent), folder) == 0);
}

int main(void) {
  const char* temp = getenv("TMPDIR");
  char base[512], documents[600], document[700], other[700], indexPath[600];
  snprintf(base, sizeof base, "%s/veska-chost-XXXXXX", temp != NULL ? temp : "/tmp");
  CHECK(mkdtemp(base) != NULL);
  snprintf(documents, sizeof documents, "%s/documents", base);
  snprintf(document, sizeof document, "%s/jars.txt", documents);
  snprintf(other, sizeof other, "%s/pots.txt", documents);
  snprintf(indexPath, sizeof indexPath, "%s/index/", base);
  CHECK(mkdir(documents, 0700) == 0 && mkdir(indexPath, 0700) == 0);
  writeText(document, "Marmalade, more marmalade, and no end of MARMALADE.\n");
  writeText(other, "Some more honey.\n");

  vSetThrowCallBack(onError);
  vSetWarningCallBack(onError);
  vSetStatusCallBack(onStatus);
  CHECK(vSetStatus("Hello", "") && statusCount == 1);

  CHECK(vCreateNewIndex(false, indexPath) == NULL);
  CHECK(strcmp(lastKey, "StorageReadError") == 0 && strcmp(lastDetail, indexPath) == 0);
  lastKey[0] = '\0';

  CVeskaIndex* index = vCreateNewIndex(true, indexPath);
  CHECK(index != NULL);
  configure(index);
  vidxNewFileLinks(index);
  const unsigned long top = vfsAddFile(vidxGetFiles(index), documents);
  CHECK(top != 0);
  vidxIndexDirectory(index, documents, top);
  vidxCompressLinks(index);
  CHECK(vidxGetContentsIndexed(index) == 2);
  checkAnswers(index, documents);
  vidxStoreStorage(index, indexPath);
  vidxClearIndex(index);

  index = vCreateNewIndex(false, indexPath);
  CHECK(index != NULL);
  checkAnswers(index, documents);
  vidxClearIndex(index);
  CHECK(lastKey[0] == '\0');
  CHECK(statusCount > 1);

  static const char* const left[] = {"index/files", "index/words", "index/skipped",
                                     "index/links", "index/hash",  "documents/jars.txt", "documents/pots.txt",
                                     "index",       "documents",   ""};
  for (size_t i = 0; i < sizeof left / sizeof left[0]; ++i) {
    char path[700];
    snprintf(path, sizeof path, "%s/%s", base, left[i]);
    CHECK(remove(path) == 0);
  }
  puts("C host: all is well");
  return 0;
}
