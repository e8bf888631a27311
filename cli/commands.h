// How a command of the program is declared. main.cpp has the table of all commands; each lies in
// the source of its own name and gives a function that makes it.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/home.h"

namespace CLI {
class App;
}

namespace veska {

// What every command gets: the options that stand before or behind any command.
struct Context {
  Home home;
  bool quiet = false;  // -q: no progress, no remarks
};

// Made when the command line names it, so that a search pays for no other command.
class Command {
 public:
  virtual ~Command() = default;

  // Declares its options and arguments, bound to its own members. `app` has the summary as its
  // description already; app.footer(...) takes the examples.
  virtual void addOptions(CLI::App& app) = 0;

  // May rewrite what stands behind the command before it is taken for options and arguments.
  virtual void prepare(std::vector<std::string>& /*arguments*/) const {}

  // Does the work, output on stdout, remarks on stderr; failures by HostError.
  // Result: an ExitStatus (host/errors.h).
  virtual int run(const Context& context) = 0;
};

struct CommandEntry {
  const char* name;
  const char* summary;  // one line for `veska help`
  std::unique_ptr<Command> (*make)();
};

std::unique_ptr<Command> makeIndexCommand();
std::unique_ptr<Command> makeUpdateCommand();
std::unique_ptr<Command> makeRebuildCommand();
std::unique_ptr<Command> makeStatusCommand();
std::unique_ptr<Command> makeConfigCommand();
std::unique_ptr<Command> makeSearchCommand();
std::unique_ptr<Command> makeWordsCommand();
std::unique_ptr<Command> makeFilesCommand();
std::unique_ptr<Command> makeShowCommand();
std::unique_ptr<Command> makeVerifyCommand();

}  // namespace veska
