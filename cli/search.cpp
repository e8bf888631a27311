// veska search: the files that match a query, best first, with the lines that show why.
#include "host/search.h"

#include <fmt/chrono.h>
#include <fmt/format.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <ctime>
#include <nlohmann/json.hpp>

#include "cli/commands.h"
#include "cli/queryline.h"
#include "cli/terminal.h"
#include "host/catalog.h"
#include "host/encoding.h"
#include "host/errors.h"
#include "host/hits.h"
#include "host/query.h"
#include "host/snippets.h"

namespace veska {
namespace {

using Json = nlohmann::ordered_json;

constexpr size_t kUsualLimit = 20;
constexpr const char* kExamples =
    "QUERY: words (all of them), a OR b, -word, (groups), wild*cards, \"a phrase\", a NEAR/5 b\n"
    "Examples:\n"
    "  veska search 'tax* -draft' --dir ~/Documents --newer 1y\n"
    "  veska search '\"free software\"' --name '*.txt'\n"
    "  veska search -0 invoice | xargs -0 ls -l";

std::time_t momentOf(const std::string& option, const std::string& text) {
  const std::optional<std::time_t> moment = parseMoment(text, std::time(nullptr));
  if (!moment) {
    fail(fmt::format("{} wants a date or an age, not \"{}\"", option, text),
         "write 2024-03-31, or 90m, 12h, 3d, 2w, 6mo, 1y");
  }
  return *moment;
}

// Paths are bytes, JSON is Unicode: what is no UTF-8 is replaced in "path" and given in full, in
// hexadecimal, as "path_bytes".
void putPath(Json& object, const std::string& path) {
  object["path"] = isUtf8(path) ? path : printableName(path, true);
  if (isUtf8(path)) return;
  std::string hex;
  for (const char byte : path) hex += fmt::format("{:02x}", static_cast<unsigned char>(byte));
  object["path_bytes"] = hex;
}

Json toJson(const Snippet& snippet) {
  Json hits = Json::array();
  const std::string_view text = snippet.text;
  for (const auto& [begin, end] : snippet.hits) {
    hits.push_back({characterCount(text.substr(0, begin)), characterCount(text.substr(0, end))});
  }
  return {{"line", snippet.line}, {"text", snippet.text}, {"hits", hits}};
}

class SearchCommand : public Command {
 public:
  void addOptions(CLI::App& app) override;
  void prepare(std::vector<std::string>& arguments) const override {
    protectExclusions(arguments, "l0qh", "n");
  }
  int run(const Context& context) override;

 private:
  SearchOptions searchOptions() const;
  std::vector<Snippet> snippets(Catalog& catalog, const HitFinder& finder, FileId file);
  void printPaths(Catalog& catalog, const SearchResult& result) const;
  void printResults(Catalog& catalog, const Query& query, const SearchResult& result);
  void printJson(Catalog& catalog, const std::string& text, const Query& query,
                 const SearchResult& result);
  std::vector<std::string> remarks(const Query& query, const SearchResult& result) const;

  std::vector<std::string> words_;
  bool filesOnly_ = false;
  bool null_ = false;
  bool json_ = false;
  CLI::Option* limitOption_ = nullptr;
  size_t limit_ = kUsualLimit;
  size_t lines_ = 3;
  size_t mostChecked_ = SearchOptions{}.mostChecked;
  std::string colour_ = "auto";
  std::vector<std::string> folders_;
  std::string name_;
  std::string newer_;
  std::string older_;
  size_t unshown_ = 0;  // results whose text could not be had for their lines
};

void SearchCommand::addOptions(CLI::App& app) {
  app.add_option("QUERY", words_, "What to look for")->required()->group("");
  app.add_flag("-l,--files", filesOnly_, "Print the paths only, of all files found");
  app.add_flag("-0,--null", null_, "Paths only, raw, each ended by a zero byte");
  app.add_flag("--json", json_, "Print one JSON object");
  limitOption_ =
      app.add_option("-n,--limit", limit_, "Results at most; 0: all (default 20)")->type_name("N");
  app.add_option("--lines", lines_, "Lines shown of each file (default 3)")->type_name("N");
  app.add_option("--dir", folders_, "Only below this folder; may be repeated")
      ->type_name("PATH")
      ->expected(1)
      ->take_all();
  app.add_option("--name", name_, "Only files of this name, as *.txt")->type_name("PATTERN");
  app.add_option("--newer", newer_, "Written on DATE or later: 2024-03-31, or an age: 3d, 2w, 1y")
      ->type_name("DATE");
  app.add_option("--older", older_, "Written before DATE")->type_name("DATE");
  app.add_option("--check", mostChecked_, "Texts looked into for phrases and NEAR (default 5000)")
      ->type_name("N");
  app.add_option("--color", colour_, "Colours: auto (default), always, never")
      ->type_name("WHEN")
      ->check(CLI::IsMember({"auto", "always", "never"}).description(""));
  app.footer(kExamples);
}

SearchOptions SearchCommand::searchOptions() const {
  SearchOptions options;
  for (const std::string& folder : folders_) {
    options.filter.folders.push_back(absoluteFolder(folder));
  }
  options.filter.name = name_;
  if (!newer_.empty()) options.filter.newer = momentOf("--newer", newer_);
  if (!older_.empty()) options.filter.older = momentOf("--older", older_);
  const bool pathsOnly = filesOnly_ || null_;
  options.limit = pathsOnly && limitOption_->empty() ? 0 : limit_;
  options.mostChecked = mostChecked_;
  return options;
}

int SearchCommand::run(const Context& context) {
  const std::string text = joinQuery(words_);
  const SearchOptions options = searchOptions();
  Catalog catalog(context.home);
  const Query query = parseQueryLine(text, catalog, false);
  Search search(catalog.reader(), query, catalog.corpus());
  const SearchResult result = search.run(
      options, [&catalog](FileId file, const auto& use) { return catalog.readText(file, use); });
  if (json_) {
    printJson(catalog, text, query, result);
  } else if (filesOnly_ || null_) {
    printPaths(catalog, result);
  } else {
    printResults(catalog, query, result);
  }
  flushOut();
  if (!context.quiet) {
    for (const std::string& line : remarks(query, result)) remark(line);
  }
  if (result.found.empty() && !context.quiet && isTerminal(STDOUT_FILENO)) remark("nothing found");
  return result.found.empty() ? kExitNothingFound : kExitDone;
}

void SearchCommand::printPaths(Catalog& catalog, const SearchResult& result) const {
  const bool terminal = isTerminal(STDOUT_FILENO);
  for (const Ranked& file : result.found) {
    const std::string path = catalog.reader().path(file.file);
    if (null_) {
      writeOut(path);
      writeOut(std::string_view("\0", 1));
    } else {
      writeOut(printableName(path, terminal) + "\n");
    }
  }
}

void SearchCommand::printResults(Catalog& catalog, const Query& query, const SearchResult& result) {
  const bool terminal = isTerminal(STDOUT_FILENO);
  const Palette palette(useColour(colour_));
  const HitFinder finder(catalog.reader(), query);
  bool hadLines = false;
  for (size_t i = 0; i < result.found.size(); ++i) {
    const Ranked& file = result.found[i];
    const std::string path = printableName(catalog.reader().path(file.file), terminal);
    const std::vector<Snippet> lines = snippets(catalog, finder, file.file);
    // An empty line sets those apart that have lines of their own.
    writeOut(i > 0 && (hadLines || !lines.empty()) ? "\n" : "");
    hadLines = !lines.empty();
    writeOut(fmt::format("{}{}{}  {}{:.2f}{}\n", palette.path, path, palette.reset, palette.dim,
                         file.score, palette.reset));
    std::string out;
    for (const Snippet& snippet : lines) {
      out += fmt::format("  {}{}{}: ", palette.lineNumber, snippet.line, palette.reset);
      appendMarked(out, snippet.text, snippet.hits, palette);
      out += '\n';
    }
    writeText(out);
    if (terminal) flushOut();
  }
}

// Most hits stand near the beginning: more of a file is read only when there is none.
std::vector<Snippet> SearchCommand::snippets(Catalog& catalog, const HitFinder& finder,
                                             FileId file) {
  constexpr uint32_t kFirstLook = 64 << 10;
  constexpr uint32_t kSecondLook = 1 << 20;
  if (lines_ == 0) return {};
  const auto whole =
      static_cast<uint32_t>(std::min<uint64_t>(catalog.settings().fileBytes, UINT32_MAX / 2));
  SnippetOptions options;
  options.lines = lines_;
  options.width = std::max<size_t>(terminalWidth(160), 40) - 10;
  for (const uint32_t bytes : {kFirstLook, kSecondLook, whole}) {
    TextOptions part;
    part.maxBytes = bytes;
    Report why;
    const std::optional<Contents> text = catalog.contents(file, part, &why);
    if (!text) {
      ++unshown_;
      return {};
    }
    const std::vector<Mark> marks = finder.marks(finder.find(text->text()));
    if (!marks.empty()) return makeSnippets(text->text(), marks, options);
    if (!text->cut()) return {};
  }
  return {};
}

void SearchCommand::printJson(Catalog& catalog, const std::string& text, const Query& query,
                              const SearchResult& result) {
  const HitFinder finder(catalog.reader(), query);
  Json results = Json::array();
  for (const Ranked& file : result.found) {
    const FileRecord record = catalog.reader().record(file.file);
    Json entry;
    putPath(entry, catalog.reader().path(file.file));
    entry["score"] = std::round(file.score * 1000.0) / 1000.0;
    entry["record"] = file.file;
    entry["size"] = record.size;
    entry["modified"] = fmt::format("{:%Y-%m-%dT%H:%M:%SZ}", fmt::gmtime(record.time));
    Json lines = Json::array();
    for (const Snippet& snippet : snippets(catalog, finder, file.file)) {
      lines.push_back(toJson(snippet));
    }
    entry["snippets"] = std::move(lines);
    results.push_back(std::move(entry));
  }
  Json object;
  object["query"] = toUtf8(text);
  object["total"] = result.total;
  object["total_is_lower_bound"] = result.totalIsLowerBound;
  object["results"] = std::move(results);
  object["notes"] = remarks(query, result);
  writeOut(object.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n");
}

std::vector<std::string> SearchCommand::remarks(const Query& query,
                                                const SearchResult& result) const {
  std::vector<std::string> lines = query.notes;
  if (unshown_ > 0) {
    lines.push_back(
        fmt::format("the lines of {} could not be read; after changes run: veska update",
                    unshown_ == 1 ? "1 file" : std::to_string(unshown_) + " files"));
  }
  if (result.unreadable > 0) {
    lines.push_back(fmt::format("{} left out; after changes run: veska update",
                                result.unreadable == 1 ? "1 file could not be read and was"
                                                       : std::to_string(result.unreadable) +
                                                             " files could not be read and were"));
  }
  if (result.boundReached) {
    lines.push_back(
        fmt::format("only the best {} of {} files with these words were looked into; "
                    "narrow the query, or raise --check",
                    result.checked, result.candidates));
  } else if (result.totalIsLowerBound) {
    lines.push_back(
        fmt::format("the best {} files are shown, there may be more; show all with "
                    "--limit 0",
                    result.found.size()));
  } else if (result.found.size() < result.total) {
    lines.push_back(fmt::format("{} of {} files shown; show all with --limit 0",
                                result.found.size(), result.total));
  }
  return lines;
}

}  // namespace

std::unique_ptr<Command> makeSearchCommand() { return std::make_unique<SearchCommand>(); }

}  // namespace veska
