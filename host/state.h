// What a generation knows about itself, beside the tables: state.json (small, read by a search) and
// problems.json (the files that were passed over, read by `veska status --problems`).
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace veska {

// The files of an index, in the order in which the engine saves them.
inline constexpr std::array<std::string_view, 5> kTableNames = {"files", "words", "skipped",
                                                                "links", "hash"};
// The file that the host adds to an index of Unicode text (host/accents.h).
inline constexpr std::string_view kAccentsName = "accents";

struct TableSum {
  std::string name;
  uint64_t bytes = 0;
  uint64_t sum = 0;  // a change within one aligned word of 8 bytes always changes it
  bool operator==(const TableSum&) const = default;
};

struct State {
  std::string version;             // of the program that wrote it
  uint64_t lineage = 0;            // generations with the same number share their record ids
  int64_t referenceTime = 0;       // seconds since 1970: when the run began
  int64_t finishTime = 0;          // when it was saved
  bool complete = false;           // false: halted; the next update goes on
  bool unicode = false;            // an index of Unicode text; without an entry, of 8-bit text
  uint64_t settings = 0;           // Settings::fingerprint() of the run that read the files
  std::vector<std::string> roots;  // bytes
  std::vector<std::string> missingRoots;  // could not be seen in that run; entries kept

  // The engine's counters, which go on over updates.
  uint64_t directoriesRead = 0;
  uint64_t filesIndexed = 0;
  uint64_t contentsIndexed = 0;
  uint64_t wordsIndexed = 0;
  double bytesRead = 0;

  // Counted in the file table when it was saved.
  uint64_t liveFiles = 0;  // files and archive members, not obsolete
  uint64_t liveFolders = 0;
  uint64_t obsoleteRecords = 0;
  double liveBytes = 0;  // recorded sizes of the live files

  uint64_t problemCount = 0;     // all, also those beyond the list
  uint64_t lastAccentsWord = 0;  // the last word that was looked at for the file "accents"; 0: none
  std::vector<TableSum> tables;
};

// A file that was passed over or read in part.
struct Problem {
  std::string key;   // of the engine: "OpenFailed", "Damaged", ...
  std::string path;  // bytes
  int systemError;   // errno of the call that failed, 0 when the system is not to blame
  // The file's stat when it was tried, all 0 when there was none: while they stay, it is not tried
  // again for its own sake.
  int64_t modified = 0;  // nanoseconds since 1970
  int64_t changed = 0;   // nanoseconds since 1970
  uint64_t size = 0;     // bytes
};

inline constexpr size_t kMostProblemsListed = 1000;

// folder: a generation's, with a trailing "/". Nothing when the file is missing; a damaged file
// fails with a sentence that names it.
std::optional<State> readState(const std::string& folder);
std::vector<Problem> readProblems(const std::string& folder);

// The lineage alone; nothing when it cannot be told. Never fails.
std::optional<uint64_t> lineageOf(const std::string& folder);

void writeState(const std::string& folder, const State& state);
void writeProblems(const std::string& folder, const std::vector<Problem>& problems);

// The sums of the five table files, and of the accents if there are any, as they are on disk now.
std::vector<TableSum> sumTables(const std::string& folder);

}  // namespace veska
