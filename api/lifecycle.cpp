#include <memory>

#include "api/guard.h"
#include "api/veskalib.h"
#include "index/index.h"

CVeskaIndex* vCreateNewIndex(bool create, const char* indexPath) {
  return guarded<CVeskaIndex*>(nullptr, [&] {
    return std::make_unique<CVeskaIndex>(create, std::string(indexPath)).release();
  });
}

void vidxClearIndex(CVeskaIndex* index) {
  guarded([index] {
    const std::unique_ptr<CVeskaIndex> owned(index);
    if (owned) owned->clear();
  });
}

void vidxStoreStorage(CVeskaIndex* index, const char* indexPath) {
  guarded([&] { index->storeStorage(indexPath); });
}

void vidxEmptyIndex(CVeskaIndex* index) {
  guarded([index] { index->emptyIndex(); });
}

void vidxIndexWord(CVeskaIndex* index, const char* word, unsigned long fileId) {
  guarded([&] { index->indexWord(word, fileId); });
}

void vidxIndexDirectory(CVeskaIndex* index, const char* path, unsigned long parentId) {
  guarded([&] { index->indexDirectory(path, parentId); });
}

void vidxPrune(CVeskaIndex* index) {
  guarded([index] { index->prune(); });
}

void vidxNewFileLinks(CVeskaIndex* index) {
  guarded([index] { index->newFileLinks(); });
}

void vidxCompressLinks(CVeskaIndex* index) {
  guarded([index] { index->compressLinks(); });
}

void vidxIndexExclusions(CVeskaIndex* index) {
  guarded([index] { index->indexExclusions(); });
}

void vidxCreateAnalyzers(CVeskaIndex* index) { index->createAnalyzers(); }
