#include "host/state.h"

#include <fcntl.h>
#include <unistd.h>

#include <bit>
#include <cerrno>
#include <cstring>
#include <nlohmann/json.hpp>

#include "host/errors.h"
#include "host/files.h"
#include "host/settings.h"

namespace veska {
namespace {

using Json = nlohmann::json;

constexpr int kFormat = 1;
constexpr size_t kSumBlockBytes = size_t{1} << 20;  // a multiple of 32
constexpr std::string_view kRepair = "make the index anew with: veska rebuild";

// One multiplication a word of 8 bytes, in four lanes that take turns, so that none waits for the
// last. Every step is a bijection of the sum so far, and of the word: two inputs of the same length
// that differ within one word only never have the same sum.
class Sum {
 public:
  void addBlock(const char* block, size_t bytes) {
    size_t at = 0;
    for (; bytes - at >= kLanes * sizeof(uint64_t); at += kLanes * sizeof(uint64_t))
      for (size_t lane = 0; lane < kLanes; ++lane)
        addWord(&lanes_[lane], block + at + lane * sizeof(uint64_t), sizeof(uint64_t));
    for (size_t lane = 0; at < bytes; at += sizeof(uint64_t), ++lane)
      addWord(&lanes_[lane], block + at, std::min(sizeof(uint64_t), bytes - at));
  }

  uint64_t result(uint64_t bytes) const {
    uint64_t sum = bytes;
    for (const uint64_t lane : lanes_) sum = step(sum, lane);
    return sum;
  }

 private:
  static constexpr size_t kLanes = 4;
  static constexpr uint64_t kOddFactor = 0x9E3779B97F4A7C15;

  static uint64_t step(uint64_t sum, uint64_t word) {
    return std::rotl((sum ^ word) * kOddFactor, 29);
  }
  static void addWord(uint64_t* lane, const char* at, size_t bytes) {
    uint64_t word = 0;
    std::memcpy(&word, at, bytes);
    *lane = step(*lane, word);
  }

  uint64_t lanes_[kLanes] = {0x2545F4914F6CDD1D, 0x9E6C63D0876A9A47, 0x5851F42D4C957F2D,
                             0x14057B7EF767814F};
};

// Fills the block as far as the file goes; -1 on error.
ssize_t readFully(int file, char* block, size_t bytes) {
  size_t have = 0;
  while (have < bytes) {
    const ssize_t got = ::read(file, block + have, bytes - have);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return -1;
    if (got == 0) break;
    have += static_cast<size_t>(got);
  }
  return static_cast<ssize_t>(have);
}

TableSum sumTable(const std::string& folder, std::string_view name) {
  const std::string path = folder + std::string(name);
  const FileDescriptor file = openFile(path, O_RDONLY);
  if (!file) failWithErrno("cannot read the table " + path, errno, std::string(kRepair));
  TableSum table{std::string(name), 0, 0};
  Sum sum;
  std::vector<char> block(kSumBlockBytes);
  for (;;) {
    const ssize_t got = readFully(file.get(), block.data(), block.size());
    if (got < 0) failWithErrno("cannot read the table " + path, errno, std::string(kRepair));
    if (got == 0) break;
    sum.addBlock(block.data(), static_cast<size_t>(got));
    table.bytes += static_cast<uint64_t>(got);
  }
  table.sum = sum.result(table.bytes);
  return table;
}

Json pathsToJson(const std::vector<std::string>& paths) {
  Json list = Json::array();
  for (const std::string& path : paths) list.push_back(rootToText(path));
  return list;
}

std::vector<std::string> pathsFromJson(const Json& list) {
  std::vector<std::string> paths;
  for (const Json& text : list) paths.push_back(rootFromText(text.get<std::string>()));
  return paths;
}

Json stateToJson(const State& state) {
  Json tables = Json::array();
  for (const TableSum& table : state.tables) {
    tables.push_back({{"name", table.name}, {"bytes", table.bytes}, {"sum", table.sum}});
  }
  return {{"format", kFormat},
          {"version", state.version},
          {"lineage", state.lineage},
          {"referenceTime", state.referenceTime},
          {"finishTime", state.finishTime},
          {"complete", state.complete},
          {"settings", state.settings},
          {"unicode", state.unicode},
          {"roots", pathsToJson(state.roots)},
          {"missingRoots", pathsToJson(state.missingRoots)},
          {"directoriesRead", state.directoriesRead},
          {"filesIndexed", state.filesIndexed},
          {"contentsIndexed", state.contentsIndexed},
          {"wordsIndexed", state.wordsIndexed},
          {"bytesRead", state.bytesRead},
          {"liveFiles", state.liveFiles},
          {"liveFolders", state.liveFolders},
          {"obsoleteRecords", state.obsoleteRecords},
          {"liveBytes", state.liveBytes},
          {"problemCount", state.problemCount},
          {"lastAccentsWord", state.lastAccentsWord},
          {"tables", tables}};
}

State stateFromJson(const Json& json) {
  State state;
  json.at("version").get_to(state.version);
  json.at("lineage").get_to(state.lineage);
  json.at("referenceTime").get_to(state.referenceTime);
  json.at("finishTime").get_to(state.finishTime);
  json.at("complete").get_to(state.complete);
  json.at("settings").get_to(state.settings);
  state.unicode = json.value("unicode", false);
  state.roots = pathsFromJson(json.at("roots"));
  state.missingRoots = pathsFromJson(json.at("missingRoots"));
  json.at("directoriesRead").get_to(state.directoriesRead);
  json.at("filesIndexed").get_to(state.filesIndexed);
  json.at("contentsIndexed").get_to(state.contentsIndexed);
  json.at("wordsIndexed").get_to(state.wordsIndexed);
  json.at("bytesRead").get_to(state.bytesRead);
  json.at("liveFiles").get_to(state.liveFiles);
  json.at("liveFolders").get_to(state.liveFolders);
  json.at("obsoleteRecords").get_to(state.obsoleteRecords);
  json.at("liveBytes").get_to(state.liveBytes);
  json.at("problemCount").get_to(state.problemCount);
  state.lastAccentsWord = json.value("lastAccentsWord", uint64_t{0});
  for (const Json& table : json.at("tables")) {
    state.tables.push_back({table.at("name").get<std::string>(), table.at("bytes").get<uint64_t>(),
                            table.at("sum").get<uint64_t>()});
  }
  return state;
}

std::vector<Problem> problemsFromJson(const Json& list) {
  std::vector<Problem> problems;
  for (const Json& entry : list) {
    problems.push_back({entry.at("key").get<std::string>(),
                        rootFromText(entry.at("path").get<std::string>()),
                        entry.value("systemError", 0), entry.at("modified").get<int64_t>(),
                        entry.at("changed").get<int64_t>(), entry.at("size").get<uint64_t>()});
  }
  return problems;
}

// What `read` makes of the file; nothing when there is no file. nlohmann tells of every kind of bad
// content by its own exceptions, which end here.
template <typename Result>
std::optional<Result> readJson(const std::string& path, Result (*read)(const Json&)) {
  std::string bytes;
  if (!readWholeFile(path, &bytes)) {
    if (errno == ENOENT) return std::nullopt;
    failWithErrno("cannot read " + path, errno);
  }
  try {
    const Json json = Json::parse(bytes);
    if (!json.is_object() || json.at("format").get<int>() == kFormat) return read(json);
  } catch (const Json::exception&) {
    fail("the file " + path + " is damaged", std::string(kRepair));
  }
  fail("the file " + path + " was written by another version of veska", std::string(kRepair));
}

}  // namespace

std::optional<State> readState(const std::string& folder) {
  return readJson<State>(folder + "state.json", stateFromJson);
}

std::vector<Problem> readProblems(const std::string& folder) {
  return readJson<std::vector<Problem>>(folder + "problems.json", problemsFromJson)
      .value_or(std::vector<Problem>());
}

std::optional<uint64_t> lineageOf(const std::string& folder) {
  std::string bytes;
  if (!readWholeFile(folder + "state.json", &bytes)) return std::nullopt;
  const Json json = Json::parse(bytes, nullptr, /*allow_exceptions=*/false);
  if (!json.is_object() || !json.contains("lineage") || !json["lineage"].is_number_unsigned()) {
    return std::nullopt;
  }
  return json["lineage"].get<uint64_t>();
}

void writeState(const std::string& folder, const State& state) {
  replaceFile(folder + "state.json", stateToJson(state).dump(1) + "\n");
}

void writeProblems(const std::string& folder, const std::vector<Problem>& problems) {
  Json list = Json::array();
  for (const Problem& problem : problems) {
    list.push_back({{"key", problem.key},
                    {"path", rootToText(problem.path)},
                    {"systemError", problem.systemError},
                    {"modified", problem.modified},
                    {"changed", problem.changed},
                    {"size", problem.size}});
  }
  replaceFile(folder + "problems.json", list.dump(1) + "\n");
}

std::vector<TableSum> sumTables(const std::string& folder) {
  std::vector<TableSum> tables;
  for (const std::string_view name : kTableNames) tables.push_back(sumTable(folder, name));
  const std::string accents = folder + std::string(kAccentsName);
  if (::access(accents.c_str(), F_OK) == 0) tables.push_back(sumTable(folder, kAccentsName));
  return tables;
}

}  // namespace veska
