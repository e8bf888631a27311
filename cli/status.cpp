// veska status: what the index holds, how large and how old it is, what was passed over.
#include <fmt/format.h>
#include <sys/stat.h>

#include <CLI/CLI.hpp>
#include <ctime>
#include <nlohmann/json.hpp>

#include "cli/commands.h"
#include "cli/terminal.h"
#include "host/changes.h"
#include "host/errors.h"
#include "host/progress.h"
#include "host/settings.h"
#include "host/state.h"

namespace veska {
namespace {

using Json = nlohmann::ordered_json;

std::string timeText(int64_t seconds, const char* format) {
  const auto time = static_cast<std::time_t>(seconds);
  std::tm parts = {};
  char text[64] = "";
  if (::localtime_r(&time, &parts) != nullptr) std::strftime(text, sizeof text, format, &parts);
  return text;
}

uint64_t tableBytes(const State& state) {
  uint64_t bytes = 0;
  for (const TableSum& table : state.tables) bytes += table.bytes;
  return bytes;
}

// Asked of the disk, not of the last run: that may be long ago.
bool isUnseen(const std::string& root) { return lookAtRoot(root) != RootSight::kFilled; }

class StatusCommand : public Command {
 public:
  void addOptions(CLI::App& app) override {
    app.add_flag("--problems", problems_, "List the files that were passed over, and why");
    app.add_flag("--json", json_, "Output as one JSON object");
    app.footer(
        "Examples:\n"
        "  veska status\n"
        "  veska status --problems\n"
        "  veska status --json | jq .files");
  }

  int run(const Context& context) override {
    const Generation generation = context.home.requireCurrent();
    const std::optional<State> state = readState(generation.path);
    if (!state) {
      fail("the file " + generation.path + "state.json is missing",
           "make the index anew with: veska rebuild");
    }
    // A damaged settings file takes nothing from what the index is.
    const std::vector<Problem> problems =
        problems_ || json_ ? readProblems(generation.path) : std::vector<Problem>();
    if (json_) {
      printJson(context.home, generation, *state, problems);
    } else if (problems_) {
      printProblems(*state, problems);
    } else {
      printText(context.home, *state);
    }
    return kExitDone;
  }

 private:
  static void printText(const Home& home, const State& state) {
    const bool terminal = isTerminal(1);
    std::string text;
    for (const std::string& root : state.roots) {
      text += (text.empty() ? "folders    " : "           ") + printableName(root, terminal) +
              (isUnseen(root) ? "  (missing or empty now)" : "") + "\n";
    }
    text += fmt::format("files      {} in {} folder{}\n", grouped(state.liveFiles),
                        grouped(state.liveFolders), state.liveFolders == 1 ? "" : "s");
    text += fmt::format("words      {}\n", grouped(state.wordsIndexed));
    text += fmt::format("read       {}\n", sizeText(state.bytesRead));
    text += fmt::format("index      {} in {}\n", sizeText(static_cast<double>(tableBytes(state))),
                        printableName(home.root(), terminal));
    text += fmt::format("updated    {}{}\n", timeText(state.finishTime, "%Y-%m-%d %H:%M:%S"),
                        state.complete ? "" : " (halted; `veska update` goes on)");
    if (state.problemCount > 0) {
      text += fmt::format("problems   {} (see: veska status --problems)\n",
                          grouped(state.problemCount));
    }
    const uint64_t live = state.liveFiles + state.liveFolders;
    if (state.obsoleteRecords > live && state.obsoleteRecords > 1000) {
      text += fmt::format(
          "stale      {} entries of changed and removed files"
          " (`veska rebuild` gives back their room)\n",
          grouped(state.obsoleteRecords));
    }
    writeOut(text);
  }

  static void printProblems(const State& state, const std::vector<Problem>& problems) {
    const bool terminal = isTerminal(1);
    for (const Problem& problem : problems) {
      writeOut(
          problemLine(printableName(problem.path, terminal), problem.key, problem.systemError) +
          "\n");
    }
    if (state.problemCount > problems.size()) {
      writeOut(fmt::format("... and {} more\n", grouped(state.problemCount - problems.size())));
    }
  }

  static void printJson(const Home& home, const Generation& generation, const State& state,
                        const std::vector<Problem>& problems) {
    Json roots = Json::array();
    for (const std::string& root : state.roots) {
      roots.push_back({{"path", rootToText(root)}, {"missing", isUnseen(root)}});
    }
    Json list = Json::array();
    for (const Problem& problem : problems) {
      const ProblemText text = problemText(problem.key, problem.systemError);
      list.push_back({{"path", rootToText(problem.path)},
                      {"key", problem.key},
                      {"what", text.sentence},
                      {"remedy", text.remedy}});
    }
    const Json json = {{"home", rootToText(home.root())},
                       {"generation", generation.number},
                       {"version", state.version},
                       {"unicode", state.unicode},
                       {"roots", roots},
                       {"files", state.liveFiles},
                       {"folders", state.liveFolders},
                       {"words", state.wordsIndexed},
                       {"bytesRead", static_cast<uint64_t>(state.bytesRead)},
                       {"contentsRead", state.contentsIndexed},
                       {"obsoleteRecords", state.obsoleteRecords},
                       {"indexBytes", tableBytes(state)},
                       {"updated", timeText(state.finishTime, "%Y-%m-%dT%H:%M:%S%z")},
                       {"complete", state.complete},
                       {"problemCount", state.problemCount},
                       {"problems", list}};
    writeOut(json.dump(2) + "\n");
  }

  bool problems_ = false;
  bool json_ = false;
};

}  // namespace

std::unique_ptr<Command> makeStatusCommand() { return std::make_unique<StatusCommand>(); }

}  // namespace veska
