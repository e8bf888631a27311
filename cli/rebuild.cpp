// veska rebuild: makes the index anew from the files.
#include <CLI/CLI.hpp>

#include "cli/run.h"

namespace veska {
namespace {

class RebuildCommand : public Command {
 public:
  void addOptions(CLI::App& app) override {
    app.add_flag("--wait", wait_, "Wait while another process writes to the index");
    app.add_flag("--drop-missing", dropMissing_,
                 "Go on although a folder is missing or empty: its entries are lost");
    app.footer(
        "Repairs a damaged index, applies changed settings to all files, and gives back the room\n"
        "that changed and removed files left. The old index answers until the new one is ready.\n"
        "Example:\n"
        "  veska rebuild");
  }

  int run(const Context& context) override {
    RunOptions options;
    options.rebuild = true;
    options.dropMissing = dropMissing_;
    options.wait = wait_;
    return runIndexer(context, std::move(options));
  }

 private:
  bool wait_ = false;
  bool dropMissing_ = false;
};

}  // namespace

std::unique_ptr<Command> makeRebuildCommand() { return std::make_unique<RebuildCommand>(); }

}  // namespace veska
