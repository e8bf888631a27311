#include "api/times.h"
#include "api/veskalib.h"
#include "storage/bytes.h"

namespace {

constexpr unsigned kParent = 0;
constexpr unsigned kTime = 4;
constexpr unsigned kSize = 8;
constexpr unsigned kAttributes = 12;
constexpr unsigned kName = 16;
constexpr unsigned char kObsoleteMark = 0xFF;

char* field(void* record, unsigned offset) { return static_cast<char*>(record) + offset; }

}  // namespace

uint32_t vfiGetFileParentID(void* record) { return loadU32(field(record, kParent)); }
double vfiGetFileTimeLastWritten(void* record) {
  return toHostTime(static_cast<int32_t>(loadU32(field(record, kTime))));
}
uint32_t vfiGetFileSize(void* record) { return loadU32(field(record, kSize)); }
uint32_t vfiGetFileAttributes(void* record) { return loadU32(field(record, kAttributes)); }
const char* vfiGetFileName(void* record) { return field(record, kName); }

void vfiSetFileParentID(void* record, uint32_t parentId) {
  storeU32(field(record, kParent), parentId);
}
void vfiSetFileTimeLastWritten(void* record, double secondsSince1904) {
  storeU32(field(record, kTime), static_cast<uint32_t>(fromHostTime<int32_t>(secondsSince1904)));
}
void vfiSetFileSize(void* record, uint32_t bytes) { storeU32(field(record, kSize), bytes); }
void vfiSetFileAttributes(void* record, uint32_t attributes) {
  storeU32(field(record, kAttributes), attributes);
}
void vfiMarkFileObsolete(void* record) {
  char* name = field(record, kName);
  if (*name) *name = static_cast<char>(kObsoleteMark);
}
