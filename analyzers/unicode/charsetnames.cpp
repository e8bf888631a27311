#include "analyzers/unicode/charsetnames.h"

#include <algorithm>
#include <cctype>
#include <iterator>
#include <map>

namespace veska::unicode {
namespace {

std::string upper(std::string_view text) {
  std::string result(text);
  for (char& c : result)
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 0x20);
  return result;
}

// What documents that declare the one really use. (WHATWG Encoding Standard, labels.)
struct Alias {
  std::string_view declared;
  std::string_view used;
};
constexpr Alias kAliases[] = {
    {"ANSI_X3.4-1968", kWindows1252},
    {"ASCII", kWindows1252},
    {"US-ASCII", kWindows1252},
    {"ISO-8859-1", kWindows1252},
    {"ISO8859-1", kWindows1252},
    {"ISO_8859-1", kWindows1252},
    {"LATIN1", kWindows1252},
    {"LATIN-1", kWindows1252},
    {"L1", kWindows1252},
    {"CP1252", kWindows1252},
    {"X-SJIS", "CP932"},
    {"SHIFT_JIS", "CP932"},
    {"SHIFT-JIS", "CP932"},
    {"SJIS", "CP932"},
    {"WINDOWS-31J", "CP932"},
    {"GB2312", "GB18030"},
    {"GBK", "GB18030"},
    {"X-GBK", "GB18030"},
    {"EUC-KR", "CP949"},
    {"KS_C_5601-1987", "CP949"},
    {"KS_C_5601", "CP949"},
    {"BIG5", "BIG5-HKSCS"},
    {"ISO-8859-9", "CP1254"},
    {"ISO-8859-11", "CP874"},
    {"TIS-620", "CP874"},
    {"WINDOWS-874", "CP874"},
    {"MACROMAN", "MACINTOSH"},
    {"X-MAC-ROMAN", "MACINTOSH"},
    {"MACINTOSH", "MACINTOSH"},
    {"DOSOEM", "CP850"},
    {"UTF8", kUtf8},
    {"X-UNICODE20UTF8", kUtf8},
};

}  // namespace

// iconv takes more than names: "//" options, paths of modules.
std::string usedName(std::string_view declared) {
  while (!declared.empty() && (declared.front() == ' ' || declared.front() == '"'))
    declared.remove_prefix(1);
  while (!declared.empty() && (declared.back() == ' ' || declared.back() == '"'))
    declared.remove_suffix(1);
  constexpr size_t kLongestName = 40;
  const auto harmless = [](char c) {
    constexpr std::string_view kMarks = "-_.:";
    return std::isalnum(static_cast<unsigned char>(c)) || kMarks.find(c) != kMarks.npos;
  };
  if (declared.empty() || declared.size() > kLongestName ||
      !std::all_of(declared.begin(), declared.end(), harmless))
    return {};
  std::string name = upper(declared);
  for (const Alias& alias : kAliases)
    if (name == alias.declared) return std::string(alias.used);
  return name;
}

// iconv unloads the tables of a character set that nobody uses, and to load them takes a hundred
// times as long as to open them. So one handle of each stays open, and text that changes its
// character set from word to word costs no more than other text.
bool isKnown(const std::string& name) {
  constexpr size_t kMostKept = 2048;
  thread_local std::map<std::string, IconvHandle> kept;
  if (name == kUtf8 || name == kWindows1252) return true;
  const auto [entry, added] = kept.try_emplace(name, name);
  const bool known = entry->second.isOpen();
  if (added && (!known || kept.size() > kMostKept)) kept.erase(entry);
  return known;
}

bool is16Or32Bit(std::string_view name) {
  constexpr std::string_view kFamilies[] = {"UTF-16", "UTF-32", "UTF16", "UTF32", "UCS"};
  constexpr std::string_view kOthers[] = {"UNICODE",   "UNICODELITTLE", "UNICODEBIG",
                                          "ISO-10646", "INTERNAL",      "WCHAR_T"};
  return std::any_of(std::begin(kFamilies), std::end(kFamilies),
                     [name](std::string_view family) { return name.starts_with(family); }) ||
         std::find(std::begin(kOthers), std::end(kOthers), name) != std::end(kOthers);
}

}  // namespace veska::unicode
