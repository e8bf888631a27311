// The settings that hold until somebody changes them, and the file in which they are shown. Both
// are made from the same lists.
#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/settings.h"

namespace veska {
namespace {

struct DefaultGroup {
  std::string_view comment;
  std::string_view reader;
  std::string_view patterns;  // divided by blanks
};

// In order: a file goes to the first pattern that matches it, so what is met most often comes
// first.
constexpr DefaultGroup kUnicodeInclude[] = {
    {"Mark-up, PDF and RTF: a converter of that name in externanalyzers.txt comes first.", "html",
     "*.html *.htm *.xhtml"},
    {"", "pdf", "*.pdf"},
    {"", "rtf", "*.rtf"},
    {"Archives; what is in them is chosen by these same patterns.", "gzip", "*.gz *.tgz"},
    {"", "xz", "*.xz *.txz"},
    {"", "bzip2", "*.bz2 *.tbz *.tbz2"},
    {"", "zstd", "*.zst *.tzst"},
    {"", "zip", "*.zip *.jar"},
    {"", "tar", "*.tar"},
    {"Mailboxes.", "mbox", "*.mbox *.mbx"},
    {"All else: the kind is told by the name and by the first bytes. Data that is no document is\n"
     "# not read.",
     "generic", "*"},
};

constexpr DefaultGroup kBytesInclude[] = {
    {"Plain text and source code.", "generic",
     "*.txt *.md *.h *.c *.cpp *.hpp *.py *.js *.ts *.java *.rs *.go *.cc *.cxx *.hh *.rst "
     "*.json *.yaml *.yml *.toml *.ini *.conf *.cfg *.sh *.tex *.bib *.org *.adoc *.csv "
     "*.tsv *.log *.css *.scss *.jsx *.tsx *.vue *.rb *.pl *.pm *.php *.lua *.sql *.cs "
     "*.kt *.swift *.scala *.hs *.ml *.el *.lisp *.clj *.r *.m *.pas *.f90 *.s *.tcl *.awk "
     "*.vim *.cmake *.mk *.diff *.patch *.po *.srt *.ics *.vcf *.texi *.tcc *.inc *.in"},
    {"Mark-up: tags are left out, entities become characters.", "html",
     "*.html *.htm *.xhtml *.xml *.svg *.opml *.rss *.fb2"},
    {"PDF and RTF.", "pdf", "*.pdf"},
    {"", "rtf", "*.rtf"},
    {"Compressed files and archives; what is in them is chosen by these same patterns.", "gzip",
     "*.gz *.tgz"},
    {"", "zip", "*.zip *.jar"},
    {"", "tar", "*.tar"},
    {"Office documents and e-books are archives of XML.", "zip",
     "*.docx *.odt *.xlsx *.ods *.pptx *.odp *.epub"},
    {"Mailboxes and single messages.", "mbox", "*.mbox *.mbx"},
    {"", "generic", "*.eml"},
    {"Well-known names without an extension, and files of packages.", "generic",
     "*readme *copyright *changelog *license *copying *authors *news *todo *notes *install "
     "*makefile *dockerfile *.debian */include/c++/*"},
};

struct ExcludeGroup {
  std::string_view comment;
  std::string_view patterns;  // divided by blanks
};

constexpr ExcludeGroup kExclude[] = {
    {"version control", "*/.git */.svn */.hg */.bzr */CVS */_darcs */.jj"},
    {"caches, downloads of package managers, things thrown away",
     "*/.cache */node_modules */bower_components */__pycache__ */.npm */.yarn "
     "*/.cargo/registry */.rustup */.gradle */.m2 */.tox */.venv */site-packages "
     "*/.mypy_cache */.pytest_cache */.ccache */.Trash* */.local/share/Trash */.thumbnails "
     "*/.mozilla */.config/*/*Cache* */lost+found"},
    {"what builds leave",
     "*/CMakeFiles */target/debug */target/release */.next */.nuxt *.min.js *.min.css "
     "*.js.map"},
    {"keys and passwords", "*/.ssh */.gnupg */.password-store"},
    {"no documents", "/proc /sys /dev /run *~ *.swp"},
};

// The words of a text divided by blanks.
std::vector<std::string_view> split(std::string_view text) {
  std::vector<std::string_view> parts;
  while (!text.empty()) {
    const size_t end = std::min(text.find(' '), text.size());
    parts.push_back(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return parts;
}

constexpr int64_t megabytes(uint64_t bytes) { return static_cast<int64_t>(bytes >> 20); }

// ["a", "b", ...], broken into lines that are easy to read.
std::string listText(std::string_view patterns, std::string_view indent) {
  constexpr size_t kWidth = 90;
  std::string text;
  std::string line(indent);
  for (const std::string_view entry : split(patterns)) {
    const std::string item = fmt::format("\"{}\", ", entry);
    if (line.size() + item.size() > kWidth) {
      text += line.substr(0, line.size() - 1) + "\n";
      line = indent;
    }
    line += item;
  }
  return text + line.substr(0, line.size() - 1) + "\n";
}

std::span<const DefaultGroup> groupsFor(bool unicode) {
  if (unicode) return kUnicodeInclude;
  return kBytesInclude;
}

constexpr std::string_view kTopText =
    R"(# What Veska indexes, and how. After a change run `veska update`; when patterns, word lengths,
# limits or `unicode` changed, `veska rebuild` applies them to the files that are indexed already.

# The folders to index, with all that lies below them. `veska index DIR` adds to this list; a folder
# taken out of it leaves the index with the next update.
roots = [
]

# true: words of every script, whatever character set documents are written in. false: the letters
# of Western European languages (Windows-1252).
unicode = true

# Patterns are tested against the full path: "*" is any run of characters ("/" too), "?" any one,
# capitals do not count. Between patterns "&", "|" and "^" (and not) may stand in this list, not below.
# A folder that matches one of these is not entered, a file is not read.
exclude = [
)";

constexpr std::string_view kIncludeText =
    R"(
# Which files are read, and by which reader. These are the defaults; as soon as one section stands
# here without "#", the sections here are all that counts. Readers: generic (tells the kind of a file
# by its name and content), html, rtf, pdf, zip, tar, gzip, mbox, macroman and dosoem (text in old
# character sets), or one defined in externanalyzers.txt. The first pattern that matches decides; one
# name a pattern. Files that match none are known by name only.
)";

}  // namespace

std::vector<IncludePattern> defaultInclude(bool unicode) {
  std::vector<IncludePattern> include;
  for (const DefaultGroup& group : groupsFor(unicode)) {
    for (const std::string_view pattern : split(group.patterns)) {
      include.push_back({std::string(pattern), std::string(group.reader)});
    }
  }
  return include;
}

Settings defaultSettings() {
  Settings settings;
  settings.include = defaultInclude(settings.unicode);
  for (const ExcludeGroup& group : kExclude) {
    for (const std::string_view pattern : split(group.patterns))
      settings.exclude.emplace_back(pattern);
  }
  return settings;
}

std::string defaultSettingsText() {
  const Settings settings;
  std::string text(kTopText);
  for (const ExcludeGroup& group : kExclude) {
    fmt::format_to(std::back_inserter(text), "  # {}\n{}", group.comment,
                   listText(group.patterns, "  "));
  }
  fmt::format_to(std::back_inserter(text), R"(]

[words]
shortest = {}  # characters; shorter words are not indexed
longest = {}   # characters; longer ones neither

[limits]
file_megabytes = {}       # read of one file at most
member_megabytes = {}    # that one file of an archive may expand to; 0: any
archive_megabytes = {}  # that all files of an archive together may expand to; 0: any
archive_levels = {}       # archives within archives
converter_seconds = {}    # that an external converter may take for one file; 0: any
record_all_files = {}   # know files that no reader reads by name
)",
                 settings.shortestWord, settings.longestWord, megabytes(settings.fileBytes),
                 megabytes(settings.memberBytes), megabytes(settings.archiveBytes),
                 settings.archiveLevels, settings.converterSeconds, settings.recordAllFiles);
  text += kIncludeText;
  for (const DefaultGroup& group : groupsFor(settings.unicode)) {
    if (!group.comment.empty()) fmt::format_to(std::back_inserter(text), "\n# {}", group.comment);
    fmt::format_to(std::back_inserter(text),
                   "\n#[[include]]\n#reader = \"{}\"\n#patterns = [\n{}#]\n", group.reader,
                   listText(group.patterns, "#  "));
  }
  return text;
}

}  // namespace veska
