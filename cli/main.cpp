// The program: finds the command that the line names, lets it read its options, runs it, and tells
// of what went wrong. This is the edge where failures end.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <exception>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "cli/commands.h"
#include "cli/suggest.h"
#include "cli/terminal.h"
#include "host/errors.h"
#include "host/home.h"

namespace veska {
namespace {

constexpr CommandEntry kCommands[] = {
    {"index", "add folders and bring the index up to date", makeIndexCommand},
    {"update", "bring the index up to date", makeUpdateCommand},
    {"search", "find files that hold words", makeSearchCommand},
    {"show", "show the text of a file", makeShowCommand},
    {"words", "list words and in how many files they are", makeWordsCommand},
    {"files", "list the files that are known", makeFilesCommand},
    {"status", "tell what the index holds and what was passed over", makeStatusCommand},
    {"config", "tell where things are and what is in force", makeConfigCommand},
    {"verify", "check the index for damage", makeVerifyCommand},
    {"rebuild", "make the index anew", makeRebuildCommand},
};

constexpr size_t kNameColumns = 16;
constexpr std::string_view kUsage =
    "Find files by the words in them.   Usage: veska COMMAND [OPTIONS] [ARGUMENTS]\n\n";

// With the commands, 24 lines of 80 columns: one screen.
constexpr std::string_view kExamples =
    "\n"
    "  -h, --help      help; for a command: veska help COMMAND\n"
    "  -q, --quiet     no progress, no remarks\n"
    "  --home DIR      where settings and index are (~/.local/share/veska)\n"
    "  --version       the version\n"
    "\n"
    "  veska index ~/Documents               make or extend the index\n"
    "  veska search linux kernel             files with both words, best first\n"
    "  veska search -l 'index* OR table'     names only, words that begin with index\n"
    "  veska status --problems               what could not be read, and why\n";

struct Invocation {
  std::string home;
  bool quiet = false;
  bool help = false;
  bool version = false;
  std::string command;
  std::vector<std::string> rest;  // behind the command
};

void printHelp() {
  std::string text(kUsage);
  for (const CommandEntry& entry : kCommands) {
    std::string name(entry.name);
    name.resize(kNameColumns, ' ');
    text += "  " + name + entry.summary + "\n";
  }
  writeOut(text);
  writeOut(kExamples);
}

std::vector<std::string> commandNames() {
  std::vector<std::string> names{"help"};
  for (const CommandEntry& entry : kCommands) names.emplace_back(entry.name);
  return names;
}

[[noreturn]] void failUnknownGlobal(const std::string& option) {
  const std::string name = option.substr(0, option.find('='));
  const std::string meant = nearest(name, {"--home", "--quiet", "--help", "--version"});
  fail("there is no option " + name + " before a command" +
           (meant.empty() ? "" : "; did you mean " + meant + "?"),
       "see: veska --help");
}

// What stands before the command is ours; what stands behind it is the command's.
Invocation readLine(int count, char** arguments) {
  Invocation line;
  int at = 1;
  for (; at < count && arguments[at][0] == '-' && line.command.empty(); ++at) {
    const std::string option = arguments[at];
    if (option == "-h" || option == "--help") {
      line.help = true;
    } else if (option == "--version" || option == "-V") {
      line.version = true;
    } else if (option == "-q" || option == "--quiet") {
      line.quiet = true;
    } else if (option.starts_with("--home=")) {
      line.home = option.substr(std::string_view("--home=").size());
    } else if (option == "--home") {
      if (at + 1 == count) fail("--home needs a folder", "as in: veska --home DIR search WORD");
      line.home = arguments[++at];
    } else {
      failUnknownGlobal(option);
    }
  }
  if (at < count) line.command = arguments[at++];
  line.rest.assign(arguments + at, arguments + count);
  return line;
}

const CommandEntry& findCommand(const std::string& name) {
  for (const CommandEntry& entry : kCommands) {
    if (name == entry.name) return entry;
  }
  const std::string meant = nearest(name, commandNames());
  fail("there is no command \"" + name + "\"" +
           (meant.empty() ? "" : "; did you mean: veska " + meant),
       "see: veska --help");
}

int runCommand(const CommandEntry& entry, Invocation line) {
  const std::unique_ptr<Command> command = entry.make();
  CLI::App app(entry.summary, std::string("veska ") + entry.name);
  app.get_formatter()->column_width(28);
  app.add_option("--home", line.home, "Folder of settings and index")->type_name("DIR");
  app.add_flag("-q,--quiet", line.quiet, "No progress, no remarks");
  command->addOptions(app);
  command->prepare(line.rest);
  std::vector<std::string> arguments(line.rest.rbegin(), line.rest.rend());
  try {
    app.parse(arguments);
  } catch (const CLI::CallForHelp&) {
    writeOut(app.help());
    return kExitDone;
  } catch (const CLI::ExtrasError&) {
    for (const std::string& extra : app.remaining()) {
      if (extra.size() > 1 && extra[0] == '-') failUnknownOption(app, extra);
    }
    fail("too many arguments: " + app.remaining().front(), "see: " + app.get_name() + " --help");
  } catch (const CLI::ParseError& error) {
    fail(error.what(), "see: " + app.get_name() + " --help");
  }
  return command->run(Context{Home::resolve(line.home), line.quiet});
}

int runLine(Invocation line) {
  if (line.version) {
    writeOut("veska " VESKA_VERSION "\n");
    return kExitDone;
  }
  if (line.command == "help" && !line.rest.empty()) {
    line.command = line.rest.front();
    line.rest = {"--help"};
  } else if (line.help || line.command == "help" || line.command.empty()) {
    const bool asked = line.help || line.command == "help";
    if (!line.command.empty() && line.command != "help") {
      line.rest = {"--help"};
    } else {
      printHelp();
      return asked ? kExitDone : kExitError;
    }
  }
  const CommandEntry& entry = findCommand(line.command);
  return runCommand(entry, std::move(line));
}

// The remedy of a query that makes no sense has a second line: a mark under the place.
void tell(std::string_view sentence, std::string_view remedy) {
  remark("veska: " + std::string(sentence));
  while (!remedy.empty()) {
    const std::string_view line = remedy.substr(0, remedy.find('\n'));
    remark("       " + std::string(line));
    remedy.remove_prefix(std::min(remedy.size(), line.size() + 1));
  }
}

int guarded(int count, char** arguments) {
  try {
    const int status = runLine(readLine(count, arguments));
    flushOut();
    return status;
  } catch (const HostError& error) {
    tell(error.sentence(), error.remedy());
    return error.exitStatus();
  } catch (const std::bad_alloc&) {
    tell("there is not enough memory", "close other programs and run the command again");
  } catch (const std::exception& error) {
    tell("something unforeseen went wrong: " + std::string(error.what()), "");
  } catch (int) {
    tell("the index is damaged",
         "see what is wrong with: veska verify; repair with: veska rebuild");
  }
  return kExitError;
}

// A descriptor 0, 1 or 2 that is closed would be given to a table of the index.
void occupyStandardDescriptors() {
  while (true) {
    const int descriptor = ::open("/dev/null", O_RDWR);
    if (descriptor > STDERR_FILENO) ::close(descriptor);
    if (descriptor < 0 || descriptor > STDERR_FILENO) return;
  }
}

// Without memory the program ends at once, as if it had been killed, which leaves every index
// whole: libraries make objects before main() and in destructors, where no exception may leave.
[[gnu::constructor(101)]] void endInOrderWithoutMemory() {
  std::set_new_handler([] {
    constexpr std::string_view kText =
        "veska: there is not enough memory\n"
        "       close other programs and run the command again\n";
    [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, kText.data(), kText.size());
    ::_exit(kExitError);
  });
}

}  // namespace
}  // namespace veska

int main(int count, char** arguments) {
  std::signal(SIGXFSZ, SIG_IGN);  // a limit on the size of files is an error like a full disk
  veska::occupyStandardDescriptors();
  // All that the program writes is its user's alone.
  ::umask(077);
  return veska::guarded(count, arguments);
}
