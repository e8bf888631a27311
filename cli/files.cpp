// veska files: the files and archive members of the index.
#include <fmt/chrono.h>
#include <fmt/format.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <ctime>
#include <string>
#include <string_view>
#include <vector>

#include "cli/commands.h"
#include "cli/terminal.h"
#include "host/catalog.h"
#include "host/errors.h"
#include "host/filters.h"

namespace veska {
namespace {

class FilesCommand : public Command {
 public:
  void addOptions(CLI::App& app) override;
  int run(const Context& context) override;

 private:
  bool wanted(const std::string& path) const;
  void print(const FileRecord& record, const std::string& path, bool terminal) const;

  std::vector<std::string> patterns_;
  bool null_ = false;
  bool long_ = false;
};

void FilesCommand::addOptions(CLI::App& app) {
  app.add_option("PATTERN", patterns_,
                 "Names, as *.txt; with a slash, whole paths; all files when there is none")
      ->group("");
  app.add_flag("-0,--null", null_, "Paths raw, each ended by a zero byte");
  app.add_flag("-l,--long", long_, "Size and time of writing before the path");
  app.footer(
      "PATTERN: names, as *.txt, or with a slash whole paths; without one, all files.\n"
      "Examples:\n"
      "  veska files '*.pdf'\n"
      "  veska files '*/Letters/*' --long");
}

bool FilesCommand::wanted(const std::string& path) const {
  if (patterns_.empty()) return true;
  const char* name = path.c_str() + path.rfind('/') + 1;
  return std::any_of(patterns_.begin(), patterns_.end(), [&](const std::string& pattern) {
    const bool wholePath = pattern.find('/') != std::string::npos;
    return vFileNameMatch(wholePath ? path.c_str() : name, pattern.c_str());
  });
}

void FilesCommand::print(const FileRecord& record, const std::string& path, bool terminal) const {
  if (null_) {
    writeOut(path);
    writeOut(std::string_view("\0", 1));
    return;
  }
  if (long_) {
    writeOut(fmt::format("{:>10}  {:%Y-%m-%d %H:%M}  ", record.size, fmt::localtime(record.time)));
  }
  writeOut(printableName(path, terminal) + "\n");
}

int FilesCommand::run(const Context& context) {
  Catalog catalog(context.home);
  Reader& reader = catalog.reader();
  const bool terminal = isTerminal(STDOUT_FILENO);
  bool any = false;
  for (FileId file = reader.firstFile(); file != 0; file = reader.nextFile(file)) {
    const FileRecord record = reader.record(file);
    if (record.isFolder() || record.isObsolete() || !reader.isLive(file)) continue;
    const std::string path = reader.path(file);
    if (!wanted(path)) continue;
    any = true;
    print(record, path, terminal);
  }
  flushOut();
  return any ? kExitDone : kExitNothingFound;
}

}  // namespace

std::unique_ptr<Command> makeFilesCommand() { return std::make_unique<FilesCommand>(); }

}  // namespace veska
