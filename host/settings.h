// The settings that people edit in veska.toml, as values. A missing file means the defaults.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace veska {

// Files whose full path matches `pattern` are read by the analyzer `reader` ("generic", "html",
// "rtf", "pdf", "zip", "tar", "gzip", "mbox", "macroman", "dosoem" or an external converter's
// name). The first pattern that matches a path decides.
struct IncludePattern {
  std::string pattern;
  std::string reader;
  bool operator==(const IncludePattern&) const = default;
};

struct Settings {
  std::vector<std::string> roots;  // absolute paths without a trailing "/" (but "/" itself); bytes
  bool unicode = true;             // an index of Unicode text; false: of 8-bit text
  std::vector<IncludePattern> include;
  bool defaultInclude = true;  // `include` is what holds while nobody names any patterns
  std::vector<std::string> exclude;
  int shortestWord = 2;  // characters
  int longestWord = 64;  // characters
  bool recordAllFiles = true;
  uint64_t fileBytes = uint64_t{64} << 20;  // read of one file at most
  // Of one archive member, expanded; 0: no limit. With the index beside it, a copy takes less than
  // 256 MB of disk.
  uint64_t memberBytes = uint64_t{240} << 20;
  uint64_t archiveBytes = uint64_t{1} << 30;  // of all members of one archive; 0: no limit
  int archiveLevels = 10;                     // archives within archives
  int converterSeconds = 60;                  // 0: no limit

  // A number for all that decides which words an index holds (not the roots): another number means
  // that the files read earlier were read under other settings. beside: the text of what else
  // decides, the skip words and the converters.
  uint64_t fingerprint(std::string_view beside) const;

  // The settings for an index of the other sort of text: the default patterns go by it.
  Settings forText(bool isUnicode) const;
};

// The built-in settings: no roots.
Settings defaultSettings();
// The include patterns that hold while nobody names any.
std::vector<IncludePattern> defaultInclude(bool unicode);

// The text of a new veska.toml: the defaults, explained.
std::string defaultSettingsText();

// Reads the text of a settings file; `name` is for the messages. Bad input fails with the line.
Settings parseSettings(std::string_view text, const std::string& name);

// Reads the file; the defaults when there is none.
Settings readSettings(const std::string& path);

// The text with the roots replaced by `roots`: only the array itself is touched, comments stay.
// What is already listed keeps its place. Fails when the text cannot be edited safely.
std::string withRootsAdded(const std::string& text, const std::vector<std::string>& added,
                           const std::string& name);

// A root as it stands in the file: as it is when it is UTF-8, else in the form "file:///..%E9..".
std::string rootToText(const std::string& path);
std::string rootFromText(const std::string& text);

}  // namespace veska
