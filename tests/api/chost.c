/* A host in plain C: makes an index, indexes two files, looks words up, saves, reopens, and looks
 * them up again. It doubles as the host that is built against an installed copy. */

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

/* How often the word occurs in the file of this name; 0 when it does not. */
static unsigned occurrences(CVeskaIndex* index, const char* word, const char* name) {
  const unsigned long wordId = vtsLookup(vidxGetWords(index), word);
  if (wordId == 0) return 0;
  CHECK(strcmp(vtsGetText(vidxGetWords(index), wordId), word) == 0);

  /* The word's newest file is still with the word itself, the others are in the link table. */
  uint32_t pendingFile, chunk;
  uint16_t pendingRepeats;
  const char* data = vtsGetData(vidxGetWords(index), wordId);
  memcpy(&pendingFile, data, sizeof pendingFile);
  memcpy(&pendingRepeats, data + 4, sizeof pendingRepeats);
  memcpy(&chunk, data + 8, sizeof chunk);

  CFileStorage* files = vidxGetFiles(index);
  if (strcmp(vfiGetFileName(vfsGetInfo(files, pendingFile)), name) == 0) return pendingRepeats + 1u;
  while (chunk != 0) {
    uint32_t cursor[2] = {chunk, 0};
    unsigned long file;
    while ((file = vflGetFile(vidxGetLinks(index), cursor)) != 0) {
      if (strcmp(vfiGetFileName(vfsGetInfo(files, file)), name) == 0) return cursor[1] + 1;
    }
    chunk = (uint32_t)vflGetNextList(vidxGetLinks(index), cursor[0]);
  }
  return 0;
}

static void checkServices(void) {
  char sealed[16], hex[33], text[7] = "";
  vEncipher("secret", 6, sealed);
  convertToHex(16, sealed, hex);
  CHECK(strlen(hex) == 32);
  convertFromHex(hex, 16, sealed);
  vDecipher(sealed, 16, text);
  CHECK(strcmp(text, "secret") == 0);
  CHECK(lowerCaseTable['Q' + 128] == 'q' && lowerCaseTable[(signed char)0xC9 + 128] == 0xE9);
}

static void checkAnswers(CVeskaIndex* index, const char* folder) {
  CHECK(occurrences(index, "marmalade", "jars.txt") == 3);
  CHECK(occurrences(index, "marmalade", "breakfast.txt") == 1);
  CHECK(occurrences(index, "toast", "breakfast.txt") == 2);
  CHECK(occurrences(index, "toast", "jars.txt") == 0);
  CHECK(occurrences(index, "elephant", "jars.txt") == 0);

  CFileStorage* files = vidxGetFiles(index);
  const unsigned long parent = vfsLookupFile(files, folder, 0);
  const unsigned long file = vfsLookupFile(files, "jars.txt", parent);
  CHECK(parent != 0 && file != 0);
  void* record = vfsGetInfo(files, file);
  CHECK(vfiGetFileParentID(record) == parent);
  CHECK(vfiGetFileSize(record) == 52);
  CHECK(vfiGetFileTimeLastWritten(record) > 2082844800.0);
}

int main(void) {
  const char* temp = getenv("TMPDIR");
  char base[512], documents[600], jars[700], breakfast[700], indexPath[600];
  snprintf(base, sizeof base, "%s/veska-chost-XXXXXX", temp != NULL ? temp : "/tmp");
  CHECK(mkdtemp(base) != NULL);
  snprintf(documents, sizeof documents, "%s/documents", base);
  snprintf(jars, sizeof jars, "%s/jars.txt", documents);
  snprintf(breakfast, sizeof breakfast, "%s/breakfast.txt", documents);
  snprintf(indexPath, sizeof indexPath, "%s/index/", base);
  CHECK(mkdir(documents, 0700) == 0 && mkdir(indexPath, 0700) == 0);
  writeText(jars, "Marmalade, more marmalade, and no end of MARMALADE.\n");
  writeText(breakfast, "Toast; marmalade; toast.\n");

  vSetThrowCallBack(onError);
  vSetWarningCallBack(onError);
  vSetStatusCallBack(onStatus);
  CHECK(vSetStatus("Hello", "") && statusCount == 1);
  checkServices();

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

  /* Everything that was written, and nothing else, lies in the two folders. */
  static const char* const left[] = {
      "index/files", "index/words",        "index/skipped",           "index/links", "index/hash",
      "index",       "documents/jars.txt", "documents/breakfast.txt", "documents",   ""};
  for (size_t i = 0; i < sizeof left / sizeof left[0]; ++i) {
    char path[700];
    snprintf(path, sizeof path, "%s/%s", base, left[i]);
    CHECK(remove(path) == 0);
  }
  puts("C host: all is well");
  return 0;
}
