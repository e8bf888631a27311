// A folder of its own for each test case, removed at the case's end.
#ifndef VESKA_TESTS_SUPPORT_TEMPDIR_H_
#define VESKA_TESTS_SUPPORT_TEMPDIR_H_

#include <string>
#include <string_view>
#include <vector>

namespace veska::test {

// Creates an empty folder under the system's temporary directory and removes it with all it holds.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  // The folder's absolute path, with no slash at the end.
  const std::string& path() const { return path_; }
  std::string operator/(std::string_view name) const;

 private:
  std::string path_;
};

// Writes `bytes` to the file `path`, replacing what was there; missing folders are made.
// A failure of this or of the next two functions fails the running case.
void writeFile(const std::string& path, std::string_view bytes);

// The whole file as it stands.
std::string readFile(const std::string& path);

// All entries below `folder`, as sorted paths relative to it.
std::vector<std::string> listTree(const std::string& folder);

}  // namespace veska::test

#endif  // VESKA_TESTS_SUPPORT_TEMPDIR_H_
