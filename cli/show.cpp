// veska show: the text of one file, with the hits of a query marked.
#include <fmt/format.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "cli/commands.h"
#include "cli/queryline.h"
#include "cli/terminal.h"
#include "host/catalog.h"
#include "host/encoding.h"
#include "host/errors.h"
#include "host/hits.h"
#include "host/locate.h"
#include "host/query.h"

namespace veska {
namespace {

// Decoded and printed before the rest of a long text is read, so that it can be seen at once.
constexpr uint32_t kFirstPart = 256 << 10;
// Bytes that are gathered before they are written; a line may be as long as the text.
constexpr size_t kWriteAt = size_t{1} << 16;

// Writes the lines of a text, in parts, each beginning where the last one ended. Neither the text,
// nor a line, nor the hits in it are in memory a second time, however long they are.
class TextPrinter {
 public:
  struct Options {
    bool lineNumbers = false;
    bool onlyHits = false;
    bool raw = false;  // bytes as they are
    Palette palette{false};
  };

  TextPrinter(const Options& options, const HitFinder* finder)
      : options_(options), finder_(finder) {}

  // text: all of it so far. last: it has no more, so that its last line may lack a line feed.
  void print(std::string_view text, bool last);
  bool anyHit() const { return anyHit_; }

 private:
  void printTo(std::string_view text, size_t to, const std::vector<Mark>& marks);
  void printPiece(std::string_view text, size_t end, const std::vector<Mark>& marks, size_t mark);
  void endLine();
  void write();
  void appendText(std::string_view text, size_t begin, size_t end);

  Options options_;
  const HitFinder* finder_;  // null: no query
  size_t doneTo_ = 0;
  size_t line_ = 1;
  size_t shownTo_ = 0;    // of the line, from its begin on
  bool isShown_ = false;  // the line
  bool anyHit_ = false;
  std::string out_;
};

void TextPrinter::print(std::string_view text, bool last) {
  const size_t end = last ? text.size() : text.rfind('\n') + 1;
  std::vector<Mark> marks;
  if (finder_ != nullptr) {
    finder_->findInParts(text, [&](const std::vector<WordHit>& hits, WordRange range) {
      const std::vector<Mark> more = finder_->marks(hits, range);
      marks.insert(marks.end(), more.begin(), more.end());
      const auto next = std::find_if(hits.begin(), hits.end(), [&range](const WordHit& hit) {
        return hit.ordinal >= range.end;
      });
      if (next == hits.end()) return;
      printTo(text, std::min(next->offset, end), marks);
      std::erase_if(marks, [this](const Mark& mark) { return mark.end <= doneTo_; });
    });
  }
  printTo(text, end, marks);
  if (isShown_) endLine();
  write();
  flushOut();
}

// marks: those that begin in front of `to`.
void TextPrinter::printTo(std::string_view text, size_t to, const std::vector<Mark>& marks) {
  size_t mark = 0;
  while (doneTo_ < to) {
    const size_t feed = text.substr(0, to).find('\n', doneTo_);
    const size_t end = std::min(feed, to);
    while (mark < marks.size() && marks[mark].end <= doneTo_) ++mark;
    const bool hit = mark < marks.size() && marks[mark].begin < end;
    anyHit_ = anyHit_ || hit;
    if (isShown_ || hit || !options_.onlyHits) printPiece(text, end, marks, mark);
    doneTo_ = end;
    if (feed < to) endLine();
  }
}

void TextPrinter::endLine() {
  if (isShown_) out_ += '\n';
  isShown_ = false;
  ++line_;
  shownTo_ = ++doneTo_;
  if (out_.size() > kWriteAt) write();
}

void TextPrinter::write() {
  if (options_.raw) {
    writeOut(out_);
  } else {
    writeText(out_);
  }
  out_.clear();
}

// More of a line, up to `end`.
void TextPrinter::printPiece(std::string_view text, size_t end, const std::vector<Mark>& marks,
                             size_t mark) {
  if (options_.lineNumbers && !isShown_) {
    out_ += fmt::format("{}{:>6}{}  ", options_.palette.lineNumber, line_, options_.palette.reset);
  }
  isShown_ = true;
  for (size_t at = std::exchange(shownTo_, end); at < end;) {
    while (mark < marks.size() && marks[mark].end <= at) ++mark;
    const bool marked = mark < marks.size() && marks[mark].begin <= at;
    size_t stop = marked ? marks[mark].end : mark < marks.size() ? marks[mark].begin : end;
    stop = std::min(stop, end);
    // A mark never cuts a character in two.
    while (stop < end && (static_cast<unsigned char>(text[stop]) & 0xC0) == 0x80 &&
           decodeUtf8(text, stop - 1).bytes > 1) {
      ++stop;
    }
    if (marked) out_ += options_.palette.hit;
    appendText(text, at, stop);
    if (marked) out_ += options_.palette.reset;
    at = stop;
  }
}

void TextPrinter::appendText(std::string_view text, size_t begin, size_t end) {
  for (size_t at = begin; at < end;) {
    if (out_.size() > kWriteAt) write();
    const size_t stop = std::min(end, at + kWriteAt);
    size_t plain = at;
    while (plain < stop && (options_.raw || (text[plain] >= ' ' && text[plain] < 0x7F))) ++plain;
    out_ += text.substr(at, plain - at);
    at = plain;
    if (at == stop) continue;
    const DecodedChar c = decodeUtf8(text.substr(0, end), at);
    const char32_t code = c.valid ? c.code : characterOf(static_cast<unsigned char>(text[at]));
    if (code == '\t') {
      out_ += '\t';
    } else if (code != '\r') {
      appendPrintable(out_, code);
    }
    at += c.bytes;
  }
}

class ShowCommand : public Command {
 public:
  void addOptions(CLI::App& app) override;
  void prepare(std::vector<std::string>& arguments) const override {
    protectExclusions(arguments, "oNqh", "w");
  }
  int run(const Context& context) override;

 private:
  FileId resolve(Catalog& catalog) const;
  std::string readerOf(Catalog& catalog, const std::string& path) const;
  bool isCompressed(Catalog& catalog, const std::string& path) const;
  int listMembers(Catalog& catalog, const std::vector<FileId>& members) const;
  Contents contents(Catalog& catalog, FileId file, uint32_t bytes) const;
  int showText(Catalog& catalog, FileId file, const HitFinder* finder, bool quiet) const;
  static void tellProblems(Catalog& catalog, FileId file);

  std::string file_;
  std::vector<std::string> words_;
  bool outline_ = false;
  bool lineNumbers_ = false;
  bool raw_ = false;
  bool noPager_ = false;
  int width_ = 0;
  uint64_t maxBytes_ = 0;
  std::string colour_ = "auto";
};

void ShowCommand::addOptions(CLI::App& app) {
  app.add_option("FILE", file_, "A path, an archive member, or a record number")
      ->required()
      ->group("");
  app.add_option("QUERY", words_, "Marks its hits")->group("");
  app.add_flag("-o,--outline", outline_, "Only the lines that hold hits");
  app.add_flag("-N,--line-numbers", lineNumbers_, "A number before each line");
  app.add_option("-w,--width", width_, "Wrap lines at N characters (default: not)")
      ->type_name("N")
      ->check(CLI::Range(0, 10000).description(""));
  app.add_option("--max-bytes", maxBytes_, "Stop after N bytes (default: the read limit)")
      ->type_name("N");
  app.add_flag("--raw", raw_, "Keep mark-up, and bytes as they are when stdout is no terminal");
  app.add_flag("--no-pager", noPager_, "Straight to the terminal");
  app.add_option("--color", colour_, "Colours: auto (default), always, never")
      ->type_name("WHEN")
      ->check(CLI::IsMember({"auto", "always", "never"}).description(""));
  app.footer(
      "FILE: a path, an archive member as search prints it, or a record number.\n"
      "QUERY: as for search; its hits are marked.\n"
      "Examples:\n"
      "  veska show ~/Documents/letter.txt\n"
      "  veska show ~/mail.zip/inbox/note.txt invoice --outline --line-numbers");
}

int ShowCommand::run(const Context& context) {
  if (outline_ && words_.empty()) {
    fail("an outline is made of the lines that hold hits", "add a query behind the file");
  }
  Catalog catalog(context.home);
  std::optional<Query> query;
  if (!words_.empty()) query = parseQueryLine(joinQuery(words_), catalog, true);
  const FileId file = resolve(catalog);
  const std::string reader = readerOf(catalog, catalog.reader().path(file));
  if (reader == "zip" || reader == "tar") {
    const std::vector<FileId> members = membersOf(catalog.reader(), file);
    if (!members.empty()) return listMembers(catalog, members);
  }
  std::optional<HitFinder> finder;
  if (query) finder.emplace(catalog.reader(), *query);
  return showText(catalog, file, finder ? &*finder : nullptr, context.quiet);
}

// The record to show: of a compressed file, what is in it.
FileId ShowCommand::resolve(Catalog& catalog) const {
  Reader& reader = catalog.reader();
  FileId file = locate(reader, file_);
  if (reader.record(file).isFolder()) {
    fail(fmt::format("{} is a folder", reader.path(file)),
         "name a file in it; list them with: veska files '" + reader.path(file) + "/*'");
  }
  while (isCompressed(catalog, reader.path(file))) {
    const std::vector<FileId> members = membersOf(reader, file);
    if (members.size() != 1) break;
    file = members.front();
  }
  return file;
}

// The name of the analyzer that the settings give to a path; empty for none.
std::string ShowCommand::readerOf(Catalog& catalog, const std::string& path) const {
  for (const IncludePattern& include : catalog.settings().include) {
    if (vFileNameMatch(path.c_str(), include.pattern.c_str())) return include.reader;
  }
  return {};
}

// Those that no pattern names are told by their extensions, as the index tells them.
bool ShowCommand::isCompressed(Catalog& catalog, const std::string& path) const {
  constexpr const char* kPatterns[] = {"*.xz",   "*.txz", "*.bz2", "*.tbz",
                                       "*.tbz2", "*.zst", "*.tzst"};
  const std::string reader = readerOf(catalog, path);
  if (reader == "gzip") return true;
  return reader == "generic" && catalog.reader().unicode() &&
         std::any_of(std::begin(kPatterns), std::end(kPatterns), [&path](const char* pattern) {
           return vFileNameMatch(path.c_str(), pattern);
         });
}

int ShowCommand::listMembers(Catalog& catalog, const std::vector<FileId>& members) const {
  const bool terminal = isTerminal(STDOUT_FILENO);
  const Pager pager(terminal && !noPager_);
  for (const FileId member : members) {
    writeOut(printableName(catalog.reader().path(member), terminal) + "\n");
  }
  flushOut();
  return kExitDone;
}

Contents ShowCommand::contents(Catalog& catalog, FileId file, uint32_t bytes) const {
  TextOptions options;
  options.maxBytes = bytes;
  options.lineWidth = width_;
  options.withoutMarkup = !raw_;
  Report why;
  std::optional<Contents> text = catalog.contents(file, options, &why);
  if (!text) {
    if (why.detail.empty() || why.key == "CannotOpenContentsFile") {
      why.detail = catalog.reader().path(file);
    }
    fail(errorOf(why));
  }
  return std::move(*text);
}

// Why the text may lack something, or everything: as `veska status --problems` has it.
void ShowCommand::tellProblems(Catalog& catalog, FileId file) {
  const std::string path = catalog.reader().path(file);
  for (const Problem& problem : readProblems(catalog.generation().path)) {
    if (problem.path == path) remark(problemLine(path, problem.key, problem.systemError));
  }
}

int ShowCommand::showText(Catalog& catalog, FileId file, const HitFinder* finder,
                          bool quiet) const {
  const uint64_t most = maxBytes_ == 0 ? catalog.settings().fileBytes : maxBytes_;
  const auto bytes = static_cast<uint32_t>(std::min<uint64_t>(most, UINT32_MAX / 2));
  const bool terminal = isTerminal(STDOUT_FILENO);
  TextPrinter::Options options;
  options.lineNumbers = lineNumbers_;
  options.onlyHits = outline_;
  options.raw = raw_ && !terminal;
  options.palette = Palette(useColour(colour_));
  TextPrinter printer(options, finder);
  bool cut = false;
  {
    // The first part is read before the pager starts: an error is then told in the open.
    const Contents first = contents(catalog, file, std::min(bytes, kFirstPart));
    const Pager pager(terminal && !noPager_);
    cut = first.cut();
    const bool whole = !cut || bytes <= kFirstPart;
    printer.print(first.text(), whole);
    if (!whole) {
      const Contents rest = contents(catalog, file, bytes);
      cut = rest.cut();
      printer.print(rest.text(), true);
    }
  }
  if (cut && !quiet) remark(fmt::format("cut after {} bytes; show more with --max-bytes", bytes));
  if (!quiet) tellProblems(catalog, file);
  return outline_ && !printer.anyHit() ? kExitNothingFound : kExitDone;
}

}  // namespace

std::unique_ptr<Command> makeShowCommand() { return std::make_unique<ShowCommand>(); }

}  // namespace veska
