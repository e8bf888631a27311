// The file is edited by people, so it is read strictly: an unknown name, a wrong type or a number
// out of range is told with its line rather than passed over. The program itself changes one thing
// in it, the list of roots, and does so in the text: the parser tells where the last root stands,
// and the new ones go behind it, so that comments and layout stay as they are.
#include "host/settings.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <initializer_list>
#include <optional>

// The parser's assertions do not hold for every input ("[&x]"), while the code behind them deals
// with it. They would end a debug build, and mislead the optimiser of another.
#define TOML_EXCEPTIONS 0
#define TOML_ASSERT(expr) static_assert(true)
#pragma push_macro("NDEBUG")
#undef NDEBUG
#include <toml++/toml.h>
#pragma pop_macro("NDEBUG")

#include "host/encoding.h"
#include "host/errors.h"
#include "host/files.h"
#include "host/tomltext.h"

namespace veska {
namespace {

constexpr size_t kLargestFileBytes = size_t{4} << 20;
constexpr size_t kMostPatterns = 10'000;
constexpr uint64_t kMegabyte = uint64_t{1} << 20;
constexpr std::string_view kUriPrefix = "file://";

class Parser {
 public:
  Parser(const toml::table& top, const std::string& name) : top_(top), name_(name) {}

  Settings settings() {
    Settings settings = defaultSettings();
    checkNames(top_, {"roots", "unicode", "exclude", "words", "limits", "include"});
    readRoots(&settings.roots);
    readFlag(top_, "unicode", &settings.unicode);
    readExclude(&settings.exclude);
    settings.defaultInclude = !readInclude(&settings.include);
    if (settings.defaultInclude) settings.include = defaultInclude(settings.unicode);
    if (const toml::table* words = table("words")) {
      checkNames(*words, {"shortest", "longest"});
      readNumber(*words, "shortest", 1, 100, &settings.shortestWord);
      readNumber(*words, "longest", 1, 100, &settings.longestWord);
      if (settings.shortestWord > settings.longestWord) {
        failAt(*words, "the shortest word is longer than the longest");
      }
    }
    if (const toml::table* limits = table("limits")) readLimits(*limits, &settings);
    return settings;
  }

 private:
  [[noreturn]] void failAt(const toml::node& node, const std::string& what) const {
    fail(name_ + ", line " + std::to_string(node.source().begin.line) + ": " + what,
         "correct the line, or move the file away to start from the defaults");
  }

  void checkNames(const toml::table& table, std::initializer_list<std::string_view> known) const {
    for (const auto& [key, value] : table) {
      if (std::find(known.begin(), known.end(), key.str()) != known.end()) continue;
      failAt(value, "there is no setting named \"" + std::string(key.str()) + "\"");
    }
  }

  const toml::table* table(std::string_view key) const {
    const toml::node* node = top_.get(key);
    if (node != nullptr && !node->is_table()) {
      failAt(*node, "[" + std::string(key) + "] is a section, not a value");
    }
    return node == nullptr ? nullptr : node->as_table();
  }

  std::string text(const toml::node& node) const {
    const auto* value = node.as_string();
    if (value == nullptr) failAt(node, "a text in quotes is wanted here");
    if (value->get().find('\0') != std::string::npos) failAt(node, "the text holds a zero byte");
    return value->get();
  }

  std::vector<std::string> texts(const toml::node& node) const {
    const toml::array* list = node.as_array();
    if (list == nullptr) failAt(node, "a list of texts is wanted here: [\"...\", \"...\"]");
    if (list->size() > kMostPatterns) failAt(node, "the list is too long");
    std::vector<std::string> values;
    for (const toml::node& value : *list) values.push_back(text(value));
    return values;
  }

  void readRoots(std::vector<std::string>* roots) const {
    const toml::node* node = top_.get("roots");
    if (node == nullptr) return;
    roots->clear();
    for (const std::string& value : texts(*node)) {
      std::string path = rootFromText(value);
      if (path.empty() || path[0] != '/') {
        failAt(*node, "a root is a full path that begins with \"/\", not \"" + value + "\"");
      }
      while (path.size() > 1 && path.back() == '/') path.pop_back();
      if (std::find(roots->begin(), roots->end(), path) == roots->end()) roots->push_back(path);
    }
  }

  void readExclude(std::vector<std::string>* exclude) const {
    if (const toml::node* node = top_.get("exclude")) *exclude = texts(*node);
  }

  // Result: whether there are any sections.
  bool readInclude(std::vector<IncludePattern>* include) const {
    const toml::node* node = top_.get("include");
    if (node == nullptr) return false;
    const toml::array* groups = node->as_array();
    if (groups == nullptr) failAt(*node, "[[include]] sections are wanted here");
    include->clear();
    for (const toml::node& group : *groups) readIncludeGroup(group, include);
    if (include->size() > kMostPatterns) failAt(*node, "there are too many patterns");
    return true;
  }

  void readIncludeGroup(const toml::node& node, std::vector<IncludePattern>* include) const {
    const toml::table* group = node.as_table();
    if (group == nullptr) failAt(node, "an [[include]] section is wanted here");
    checkNames(*group, {"reader", "patterns"});
    const toml::node* reader = group->get("reader");
    const toml::node* patterns = group->get("patterns");
    if (patterns == nullptr) failAt(node, "an [[include]] section needs: patterns = [...]");
    const std::string name = reader == nullptr ? "generic" : text(*reader);
    for (std::string& pattern : texts(*patterns)) include->push_back({std::move(pattern), name});
  }

  template <typename Number>
  void readNumber(const toml::table& table, std::string_view key, int64_t least, int64_t most,
                  Number* number, uint64_t unit = 1) const {
    const toml::node* node = table.get(key);
    if (node == nullptr) return;
    const auto* value = node->as_integer();
    if (value == nullptr || value->get() < least || value->get() > most) {
      failAt(*node, "\"" + std::string(key) + "\" is a whole number from " + std::to_string(least) +
                        " to " + std::to_string(most));
    }
    *number = static_cast<Number>(static_cast<uint64_t>(value->get()) * unit);
  }

  void readFlag(const toml::table& table, std::string_view key, bool* flag) const {
    const toml::node* node = table.get(key);
    if (node == nullptr) return;
    const auto* value = node->as_boolean();
    if (value == nullptr) failAt(*node, "\"" + std::string(key) + "\" is true or false");
    *flag = value->get();
  }

  void readLimits(const toml::table& limits, Settings* settings) const {
    checkNames(limits, {"file_megabytes", "member_megabytes", "archive_megabytes", "archive_levels",
                        "converter_seconds", "record_all_files"});
    constexpr int64_t kMostMegabytes = 1'000'000'000;
    // The engine reads one file through sizes of 32 bits.
    readNumber(limits, "file_megabytes", 1, 4095, &settings->fileBytes, kMegabyte);
    readNumber(limits, "member_megabytes", 0, kMostMegabytes, &settings->memberBytes, kMegabyte);
    readNumber(limits, "archive_megabytes", 0, kMostMegabytes, &settings->archiveBytes, kMegabyte);
    readNumber(limits, "archive_levels", 0, 100, &settings->archiveLevels);
    readNumber(limits, "converter_seconds", 0, 86'400, &settings->converterSeconds);
    readFlag(limits, "record_all_files", &settings->recordAllFiles);
  }

  const toml::table& top_;
  const std::string& name_;
};

[[noreturn]] void failAtLine(const std::string& name, size_t line, std::string_view what) {
  fail(name + ", line " + std::to_string(line) + ": " + std::string(what),
       "correct the line, or move the file away to start from the defaults");
}

toml::table parseToml(std::string_view text, const std::string& name) {
  if (const size_t at = findForeignCharacter(text); at != text.npos) {
    const auto lines = std::count(text.begin(), text.begin() + static_cast<ptrdiff_t>(at), '\n');
    failAtLine(name, static_cast<size_t>(lines) + 1, "a character that may only stand in quotes");
  }
  toml::parse_result result = toml::parse(text, std::string_view(name));
  if (!result) {
    failAtLine(name, result.error().source().begin.line, result.error().description());
  }
  return std::move(result).table();
}

// Where line and column, both counted from 1, lie in the text. Columns count characters.
size_t offsetOf(std::string_view text, const toml::source_position& position) {
  size_t at = 0;
  for (toml::source_index line = 1; line < position.line; ++line) {
    const size_t end = text.find('\n', at);
    if (end == std::string_view::npos) return text.size();
    at = end + 1;
  }
  for (toml::source_index column = 1; column < position.column && at < text.size(); ++column) {
    ++at;
    while (at < text.size() && (static_cast<unsigned char>(text[at]) & 0xC0) == 0x80) ++at;
  }
  return at;
}

std::string quoted(const std::string& text) {
  std::string result = "\"";
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\') {
      result += '\\';
      result += c;
    } else if (byte < 0x20 || byte == 0x7F) {
      constexpr char kHex[] = "0123456789ABCDEF";
      result += "\\u00";
      result += kHex[byte >> 4];
      result += kHex[byte & 15];
    } else {
      result += c;
    }
  }
  return result + "\"";
}

// The text with `lines` at `at`.
std::string insertedAt(const std::string& text, size_t at, const std::string& lines) {
  return text.substr(0, at) + lines + text.substr(at);
}

std::string rootLines(const std::vector<std::string>& roots, bool commaFirst) {
  std::string lines;
  for (const std::string& root : roots) {
    lines += commaFirst ? ",\n  " : "\n  ";
    lines += quoted(rootToText(root));
    if (!commaFirst) lines += ',';
  }
  return lines;
}

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

class Fingerprint {
 public:
  // FNV-1a over the bytes and the length.
  void add(std::string_view bytes) {
    for (const char c : bytes) mix(static_cast<unsigned char>(c));
    add(bytes.size());
  }
  void add(uint64_t number) {
    for (int shift = 0; shift < 64; shift += 8) mix((number >> shift) & 0xFF);
  }
  uint64_t value() const { return value_; }

 private:
  void mix(uint64_t byte) { value_ = (value_ ^ byte) * 0x100000001B3; }
  uint64_t value_ = 0xCBF29CE484222325;
};

}  // namespace

uint64_t Settings::fingerprint(std::string_view beside) const {
  Fingerprint print;
  print.add(beside);
  for (const IncludePattern& entry : include) {
    print.add(entry.pattern);
    print.add(entry.reader);
  }
  print.add(include.size());
  for (const std::string& pattern : exclude) print.add(pattern);
  print.add(exclude.size());
  for (const uint64_t number :
       {static_cast<uint64_t>(shortestWord), static_cast<uint64_t>(longestWord),
        static_cast<uint64_t>(recordAllFiles), fileBytes, memberBytes, archiveBytes,
        static_cast<uint64_t>(archiveLevels), static_cast<uint64_t>(converterSeconds)}) {
    print.add(number);
  }
  // An index of 8-bit text has the number that it had before there was a choice.
  if (unicode) print.add("unicode");
  return print.value();
}

Settings Settings::forText(bool isUnicode) const {
  Settings settings = *this;
  settings.unicode = isUnicode;
  if (settings.defaultInclude) settings.include = ::veska::defaultInclude(isUnicode);
  return settings;
}

Settings parseSettings(std::string_view text, const std::string& name) {
  const toml::table top = parseToml(text, name);
  return Parser(top, name).settings();
}

Settings readSettings(const std::string& path) {
  std::string text;
  if (!readWholeFile(path, &text, kLargestFileBytes + 1)) {
    if (errno == ENOENT || errno == ENOTDIR) return defaultSettings();
    failWithErrno("cannot read " + path, errno);
  }
  if (text.size() > kLargestFileBytes) fail("the settings file " + path + " is too large");
  return parseSettings(text, path);
}

std::string withRootsAdded(const std::string& text, const std::vector<std::string>& added,
                           const std::string& name) {
  const toml::table top = parseToml(text, name);
  std::vector<std::string> wanted = Parser(top, name).settings().roots;
  std::vector<std::string> missing;
  for (const std::string& root : added) {
    if (std::find(wanted.begin(), wanted.end(), root) != wanted.end()) continue;
    wanted.push_back(root);
    missing.push_back(root);
  }
  if (missing.empty()) return text;

  std::string edited;
  const toml::array* list = top["roots"].as_array();
  if (list == nullptr) {
    // Before the first section, where it is sure to belong to none.
    edited = "roots = [" + rootLines(missing, false) + "\n]\n\n" + text;
  } else if (list->empty()) {
    const size_t bracket = offsetOf(text, list->source().begin);
    edited = insertedAt(text, bracket + 1,
                        rootLines(missing, false) + (text[bracket + 1] == '\n' ? "" : "\n"));
  } else {
    const size_t end = offsetOf(text, list->back().source().end);
    edited = insertedAt(text, end, rootLines(missing, true));
  }
  if (findForeignCharacter(edited) == edited.npos) {
    const toml::parse_result check = toml::parse(edited, std::string_view(name));
    if (check && Parser(check.table(), name).settings().roots == wanted) return edited;
  }
  fail("the roots in " + name + " cannot be changed safely",
       "add the folder to the list \"roots\" there yourself, then run: veska update");
}

std::string rootToText(const std::string& path) {
  if (isUtf8(path)) return path;
  constexpr char kHex[] = "0123456789ABCDEF";
  std::string text(kUriPrefix);
  for (const char c : path) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte > 0x20 && byte < 0x7F && c != '%') {
      text += c;
    } else {
      text += '%';
      text += kHex[byte >> 4];
      text += kHex[byte & 15];
    }
  }
  return text;
}

std::string rootFromText(const std::string& text) {
  if (!text.starts_with(kUriPrefix)) return text;
  std::string path;
  for (size_t at = kUriPrefix.size(); at < text.size(); ++at) {
    const bool escape = text[at] == '%' && at + 2 < text.size() && hexDigit(text[at + 1]) >= 0 &&
                        hexDigit(text[at + 2]) >= 0;
    const int byte = escape ? hexDigit(text[at + 1]) * 16 + hexDigit(text[at + 2]) : 0;
    path += escape && byte != 0 ? static_cast<char>(byte) : text[at];
    if (escape && byte != 0) at += 2;
  }
  return path;
}

}  // namespace veska
