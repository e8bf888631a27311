#include <cstdlib>

#include "api/guard.h"
#include "api/veskalib.h"

// Contents objects are not made yet: asking for one fails.

CFileContents* vidxGetFileContents(CVeskaIndex*, unsigned long, unsigned long, int, bool, int) {
  return guarded<CFileContents*>(
      nullptr, []() -> CFileContents* { throwVeskaError("CannotOpenContentsFile", {}); });
}
const char* vfcFilePath(CFileContents*) { return ""; }
const char* vfcNext(CFileContents*) { throwVeskaError("EndOfContents", {}); }
const char* vfcContents(CFileContents*) { return ""; }
bool vfcContainsHit(CFileContents*, const char*) { return false; }
void vfcConvertToOutline(CFileContents*, const char*) {}
unsigned long vfcTokenLength(CFileContents*, unsigned long) { return 0; }
unsigned long vfcSearchBuffer(CFileContents*, unsigned long, const char*) { return 0; }
void vfcDeleteContentsObject(CFileContents*) {}
void vDeleteChar(void* block) { std::free(block); }
