// The conditions on files that a search takes beside the query: where they lie, what they are
// called, when they were last written.
#pragma once

#include <ctime>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "host/reader.h"

namespace veska {

struct FileFilter {
  std::vector<std::string> folders;  // absolute paths without a trailing "/"; any of them
  std::string name;                  // pattern for the file's own name; empty: any
  std::optional<std::time_t> newer;  // last written at this time or later
  std::optional<std::time_t> older;  // last written before this time

  bool empty() const { return folders.empty() && name.empty() && !newer && !older; }
};

// Applies a filter to many files; what it learns about a folder holds for all files in it.
class FilterPass {
 public:
  FilterPass(const Reader& reader, const FileFilter& filter) : reader_(reader), filter_(filter) {}

  bool accepts(FileId file);

 private:
  bool parentAccepted(FileId parent);

  const Reader& reader_;
  const FileFilter& filter_;
  std::unordered_map<FileId, bool> parents_;
};

// "2024-03-31" (its start, local time), or an age before `now`: 90m, 12h, 3d, 2w, 6mo, 1y.
// Result: nothing when it is neither.
std::optional<std::time_t> parseMoment(const std::string& text, std::time_t now);

// The folder as file records name it: absolute, without "." and ".." and trailing "/". The path
// need not exist.
std::string absoluteFolder(const std::string& path);

}  // namespace veska
