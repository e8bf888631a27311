// veska update: brings the index up to date.
#include <CLI/CLI.hpp>

#include "cli/run.h"

namespace veska {
namespace {

class UpdateCommand : public Command {
 public:
  void addOptions(CLI::App& app) override {
    app.add_flag("--wait", wait_, "Wait while another process writes to the index");
    app.footer(
        "Reads what is new or has changed and drops what is gone. A folder of the index that is\n"
        "missing or empty (a disk that is not plugged in) keeps its entries and is named.\n"
        "Example, for a timer:\n"
        "  veska update --quiet --wait");
  }

  int run(const Context& context) override {
    RunOptions options;
    options.wait = wait_;
    return runIndexer(context, std::move(options));
  }

 private:
  bool wait_ = false;
};

}  // namespace

std::unique_ptr<Command> makeUpdateCommand() { return std::make_unique<UpdateCommand>(); }

}  // namespace veska
