// A host in C++: the errors of guarded functions arrive as reports, those of the others as the
// integer 1, which crosses the library's boundary.

#include <veska/veskalib.h>

#include <cstdio>
#include <string>

// What the engine reports through, exported without a header.
[[noreturn]] void throwVeskaError(const char* key, const std::string& detail);

static std::string lastKey;

int main() {
  vSetThrowCallBack([](const char* key, const char*) { lastKey = key; });
  if (vCreateNewIndex(false, "/nonexistent/") != nullptr || lastKey != "StorageReadError") return 1;
  if (!vFileNameMatch("notes.txt", "*.txt")) return 2;

  CVeskaIndex* index = vCreateNewIndex(true, "./");
  if (index == nullptr) return 3;
  vidxNewFileLinks(index);
  int thrown = 0;
  try {
    throwVeskaError("Own", "");
  } catch (int value) {
    thrown = value;
  }
  if (thrown != 1 || lastKey != "Own") return 5;
  try {
    vflGetNextList(vidxGetLinks(index), 0xFFFFFFF0);
  } catch (int value) {
    thrown = value;
  }
  vidxClearIndex(index);
  if (thrown != 1 || lastKey != "AssertionFailed") return 4;
  std::puts("C++ host: all is well");
  return 0;
}
