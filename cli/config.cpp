// veska config: where things are and what is in force.
#include <fmt/format.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <map>
#include <nlohmann/json.hpp>

#include "cli/commands.h"
#include "cli/terminal.h"
#include "host/errors.h"
#include "host/settings.h"

namespace veska {
namespace {

using Json = nlohmann::ordered_json;

constexpr uint64_t kMegabyte = uint64_t{1} << 20;

std::string limitText(uint64_t bytes) {
  return bytes == 0 ? "no limit" : fmt::format("{} MB", bytes / kMegabyte);
}

bool exists(const std::string& path) { return ::access(path.c_str(), F_OK) == 0; }

class ConfigCommand : public Command {
 public:
  void addOptions(CLI::App& app) override {
    app.add_flag("--json", json_, "Output as one JSON object, with all patterns");
    app.add_flag("--defaults", defaults_, "Print a veska.toml with the defaults");
    app.footer(
        "Examples:\n"
        "  veska config\n"
        "  $EDITOR \"$(veska config --json | jq -r .settingsFile)\"");
  }

  int run(const Context& context) override {
    if (defaults_) {
      writeOut(defaultSettingsText());
      return kExitDone;
    }
    const Settings settings = readSettings(context.home.settingsFile());
    if (json_) {
      printJson(context.home, settings);
    } else {
      printText(context.home, settings);
    }
    return kExitDone;
  }

 private:
  static std::string place(const std::string& path, std::string_view ifMissing) {
    return printableName(path, isTerminal(1)) +
           (exists(path) ? "" : fmt::format("  ({})", ifMissing));
  }

  static void printText(const Home& home, const Settings& settings) {
    std::string text;
    text += "home        " + place(home.root(), "made with the first index") + "\n";
    text += "settings    " + place(home.settingsFile(), "not there: the defaults hold") + "\n";
    text += "converters  " + place(home.convertersFile(), "none") + "\n";
    text += "skip words  " + place(home.skipFile(), "none") + "\n";
    text += "index       " + place(home.tablesLink(), "none yet") + "\n";
    text += "cache       " + place(home.cacheFolder(), "none yet") + "\n\n";
    for (size_t at = 0; at < settings.roots.size(); ++at) {
      text += (at == 0 ? "roots       " : "            ") +
              printableName(settings.roots[at], isTerminal(1)) + "\n";
    }
    if (settings.roots.empty()) text += "roots       none\n";
    text += fmt::format("text        {}\n",
                        settings.unicode ? "of every script (Unicode)" : "8-bit (Windows-1252)");
    text += fmt::format("words       {} to {} characters long\n", settings.shortestWord,
                        settings.longestWord);
    text += fmt::format("limits      {} of a file, {} of an archive's member, {} of an archive\n",
                        limitText(settings.fileBytes), limitText(settings.memberBytes),
                        limitText(settings.archiveBytes));
    text += fmt::format(
        "            {} archives deep, {} for a converter\n", settings.archiveLevels,
        settings.converterSeconds == 0 ? "any time"
                                       : fmt::format("{} s", settings.converterSeconds));
    text += fmt::format("unread      files that no reader reads are {}\n",
                        settings.recordAllFiles ? "known by name" : "not known");
    std::map<std::string, size_t> readers;
    for (const IncludePattern& include : settings.include) ++readers[include.reader];
    text += "patterns    ";
    for (const auto& [reader, count] : readers) text += fmt::format("{} {}, ", count, reader);
    text += fmt::format("{} excluded\n", settings.exclude.size());
    writeOut(text);
  }

  static void printJson(const Home& home, const Settings& settings) {
    Json roots = Json::array();
    for (const std::string& root : settings.roots) roots.push_back(rootToText(root));
    Json include = Json::array();
    for (const IncludePattern& each : settings.include) {
      include.push_back({{"pattern", each.pattern}, {"reader", each.reader}});
    }
    const Json json = {{"home", rootToText(home.root())},
                       {"settingsFile", rootToText(home.settingsFile())},
                       {"convertersFile", rootToText(home.convertersFile())},
                       {"skipFile", rootToText(home.skipFile())},
                       {"index", rootToText(home.tablesLink())},
                       {"cache", rootToText(home.cacheFolder())},
                       {"roots", roots},
                       {"unicode", settings.unicode},
                       {"shortestWord", settings.shortestWord},
                       {"longestWord", settings.longestWord},
                       {"fileBytes", settings.fileBytes},
                       {"memberBytes", settings.memberBytes},
                       {"archiveBytes", settings.archiveBytes},
                       {"archiveLevels", settings.archiveLevels},
                       {"converterSeconds", settings.converterSeconds},
                       {"recordAllFiles", settings.recordAllFiles},
                       {"exclude", settings.exclude},
                       {"include", include}};
    writeOut(json.dump(2) + "\n");
  }

  bool json_ = false;
  bool defaults_ = false;
};

}  // namespace

std::unique_ptr<Command> makeConfigCommand() { return std::make_unique<ConfigCommand>(); }

}  // namespace veska
