#include "cli/run.h"

#include <fmt/format.h>

#include <chrono>

#include "cli/terminal.h"
#include "host/errors.h"
#include "host/progress.h"
#include "host/signals.h"

namespace veska {
namespace {

std::string counted(uint64_t number, std::string_view one, std::string_view many) {
  return fmt::format("{} {}", grouped(number), number == 1 ? one : many);
}

void summarize(const RunResult& result, double seconds) {
  const State& state = result.state;
  if (!result.changed) {
    writeOut(fmt::format("nothing has changed: {} in {}\n",
                         counted(state.liveFiles, "file", "files"),
                         counted(state.liveFolders, "folder", "folders")));
    return;
  }
  writeOut(fmt::format(
      "{} in {}, {}; {} ({}) read in {:.1f} s\n", counted(state.liveFiles, "file", "files"),
      counted(state.liveFolders, "folder", "folders"), counted(state.wordsIndexed, "word", "words"),
      counted(result.contentsRead, "file", "files"), sizeText(result.bytesRead), seconds));
}

void remarkOn(const RunResult& result) {
  for (const std::string& root : result.state.missingRoots) {
    remark("veska: " + root + " is missing or empty; its entries are kept");
  }
  if (result.state.problemCount > 0) {
    remark(fmt::format("veska: {} passed over or read in part; see: veska status --problems",
                       result.state.problemCount == 1
                           ? "1 file was"
                           : grouped(result.state.problemCount) + " files were"));
  }
  for (const std::string& reader : result.unknownReaders) {
    remark("veska: there is no reader named \"" + reader +
           "\", as veska.toml has it; its files are known by name only");
  }
  if (result.settingsDiffer) {
    remark(
        "veska: the settings have changed since the files were read;"
        " to apply them to all files: veska rebuild");
  }
}

}  // namespace

int runIndexer(const Context& context, RunOptions options) {
  catchInterrupts();
  options.quiet = context.quiet;
  const auto start = std::chrono::steady_clock::now();
  const RunResult result = Indexer(context.home, std::move(options)).run();
  const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - start;
  if (!context.quiet) {
    summarize(result, passed.count());
    flushOut();
    remarkOn(result);
  }
  if (!result.halted) return kExitDone;
  remark("veska: interrupted; what was read is saved, and `veska update` goes on from there");
  return kExitInterrupted;
}

}  // namespace veska
