// veska index: adds trees and brings the index up to date.
#include <CLI/CLI.hpp>

#include "cli/run.h"

namespace veska {
namespace {

class IndexCommand : public Command {
 public:
  void addOptions(CLI::App& app) override {
    app.add_option("folders", folders_, "Folders to add, with all that lies below them")
        ->type_name("DIR...")
        ->required();
    app.add_flag("--wait", wait_, "Wait while another process writes to the index");
    app.footer(
        "Makes the index if there is none. Which files are read says veska.toml; `veska config`\n"
        "tells where it is. Ctrl-C halts: what was read is saved, the next run goes on.\n"
        "Examples:\n"
        "  veska index ~/Documents ~/Mail\n"
        "  veska --home /tmp/try index /usr/share/doc");
  }

  int run(const Context& context) override {
    RunOptions options;
    options.newRoots = folders_;
    options.wait = wait_;
    return runIndexer(context, std::move(options));
  }

 private:
  std::vector<std::string> folders_;
  bool wait_ = false;
};

}  // namespace

std::unique_ptr<Command> makeIndexCommand() { return std::make_unique<IndexCommand>(); }

}  // namespace veska
