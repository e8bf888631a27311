// veska verify: checks the saved index and reports each broken invariant.
#include "host/verify.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <string>

#include "cli/commands.h"
#include "cli/terminal.h"
#include "host/errors.h"

namespace veska {
namespace {

class VerifyCommand : public Command {
 public:
  void addOptions(CLI::App& app) override;
  int run(const Context& context) override;
};

void VerifyCommand::addOptions(CLI::App& app) {
  app.footer(
      "Compares each table with its checksum, then follows all that refers from one to another.\n"
      "Exit status: 0 sound, 2 damaged.\n"
      "Example:\n"
      "  veska verify || veska rebuild");
}

int VerifyCommand::run(const Context& context) {
  const Generation generation = context.home.requireCurrent();
  const VerifyCounts counts = verifyIndex(generation.path, [](const std::string& sentence) {
    writeOut(printableName(sentence, true) + "\n");
  });
  if (counts.problems > 0) {
    flushOut();
    fail(fmt::format("the index in {} is damaged: {} problems", generation.path, counts.problems),
         "make it anew from your files with: veska rebuild");
  }
  if (!context.quiet) {
    writeOut(
        fmt::format("The index is sound: {} words, {} skip words, {} file records ({} obsolete), "
                    "{} links.\n",
                    counts.words, counts.skipWords, counts.records, counts.obsolete, counts.links));
  }
  flushOut();
  return kExitDone;
}

}  // namespace

std::unique_ptr<Command> makeVerifyCommand() { return std::make_unique<VerifyCommand>(); }

}  // namespace veska
