#include "api/guard.h"
#include "api/veskalib.h"
#include "index/index.h"

CTextStorage* vidxGetWords(CVeskaIndex* index) { return index->words; }
CFileStorage* vidxGetFiles(CVeskaIndex* index) { return index->files; }
CTextStorage* vidxGetSkipWords(CVeskaIndex* index) { return index->skipped; }
CFileLinks* vidxGetLinks(CVeskaIndex* index) { return index->links; }

unsigned long vtsGetFirst(CTextStorage* table) { return table->getFirst(); }
unsigned long vtsGetNext(CTextStorage* table, unsigned long id) { return table->getNext(id); }
unsigned long vtsLookup(CTextStorage* table, const char* text) { return table->lookup(text); }
const char* vtsGetText(CTextStorage* table, unsigned long id) { return table->getText(id); }
void* vtsGetData(CTextStorage* table, unsigned long id) { return table->getData(id); }

unsigned long vfsGetFirst(CFileStorage* files) { return files->getFirst(); }
unsigned long vfsGetNext(CFileStorage* files, unsigned long id) { return files->getNext(id); }
unsigned long vfsLookupFile(CFileStorage* files, const char* name, unsigned long parentId) {
  return files->lookupFile(name, parentId);
}
void* vfsGetInfo(CFileStorage* files, unsigned long id) { return files->getData(id); }
unsigned long vfsAddFile(CFileStorage* files, const char* name) {
  return guarded<unsigned long>(0, [&] { return files->addFile(name); });
}

unsigned long vflGetNextList(CFileLinks* links, unsigned long offset) {
  return links->getNextList(offset);
}

unsigned long vflGetFile(CFileLinks* links, uint32_t cursor[2]) {
  unsigned long position = cursor[0];
  unsigned char rank = 0;
  const unsigned long file = links->getFile(position, rank);
  cursor[0] = static_cast<uint32_t>(position);
  cursor[1] = rank;
  return file;
}

unsigned long vidxNextMatchingWord(CVeskaIndex* index, const char* term, unsigned long id) {
  return index->nextMatchingWord(term, id);
}
bool vidxDoesWordMatch(CVeskaIndex* index, const char* word, const char* term) {
  return index->doesWordMatch(word, term);
}
bool vidxDirMatch(CVeskaIndex* index, const char* path, const char* pattern) {
  return index->dirMatch(path, pattern);
}
bool vFileNameMatch(const char* name, const char* pattern) { return fileNameMatch(name, pattern); }
