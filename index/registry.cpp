// The registry is the one place that knows the concrete analyzers.

#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <span>
#include <vector>

#include "analyzers/analyzers.h"
#include "analyzers/archiveanalyzer.h"
#include "analyzers/externalanalyzer.h"
#include "analyzers/gzipanalyzer.h"
#include "analyzers/htmlanalyzer.h"
#include "analyzers/mailboxanalyzer.h"
#include "analyzers/mboxanalyzer.h"
#include "analyzers/pdfanalyzer.h"
#include "analyzers/rtfanalyzer.h"
#include "analyzers/taranalyzer.h"
#include "analyzers/unicode/textanalyzer.h"
#include "analyzers/zipanalyzer.h"
#include "api/reporting.h"
#include "index/index.h"
#include "storage/stdiofile.h"

namespace {

constexpr size_t kMaxConfigurationBytes = 65535;
constexpr size_t kMaxPathBytes = 1023;

// The text without the blanks and tabs at its end, and without what follows a zero byte.
std::string trimmed(std::string_view line) {
  const size_t last = line.find_last_not_of(" \t");
  line = line.substr(0, last == std::string_view::npos ? 0 : last + 1);
  return std::string(line.substr(0, line.find('\0')));
}

// The fields of the configuration file: lines without their comments, those that hold nothing left
// out. A line ends with LF, CR LF or CR; an unended last line is a field only when a comment ends
// it.
std::vector<std::string> readFields(std::string_view text) {
  std::vector<std::string> fields;
  while (!text.empty()) {
    const size_t end = text.find_first_of("\r\n");
    const std::string_view line = text.substr(0, end);
    const size_t comment = line.find('#');
    const bool ended = end != std::string_view::npos || comment != std::string_view::npos;
    std::string field = trimmed(line.substr(0, comment));
    if (ended && !field.empty()) fields.push_back(std::move(field));
    if (end == std::string_view::npos) break;
    text.remove_prefix(end + (text.substr(end, 2) == "\r\n" ? 2 : 1));
  }
  return fields;
}

// The part of a member's name behind its folders, and the extension of that.
std::string extensionOf(std::string_view member) {
  const size_t slash = member.find_last_of("/\\");
  if (slash != std::string_view::npos) member.remove_prefix(slash + 1);
  const size_t dot = member.rfind('.');
  return std::string(dot == std::string_view::npos ? member : member.substr(dot + 1));
}

// The analyzer that a container is read by, if that is one of archives; else null. analyzer: the
// one that its name selects, which may leave it to the first bytes.
CArchiveAnalyzer* archiveAnalyzer(CFileAnalyzer* analyzer, const char* path) {
  if (const auto* const text = dynamic_cast<CTextAnalyzer*>(analyzer))
    analyzer = text->containerAnalyzer(path);
  return dynamic_cast<CArchiveAnalyzer*>(analyzer);
}

// Makes a file for the copy of a member. extract: fills the file of that path. Result: the path,
// empty when that failed.
template <typename Extract>
std::string fillTempFile(const std::string& directory, std::string_view member,
                         unsigned long number, Extract extract) {
  if (directory.empty()) return {};
  std::string path =
      directory + "/tmp" + std::to_string(static_cast<int32_t>(number)) + "." + extensionOf(member);
  if (path.size() > kMaxPathBytes) path.resize(kMaxPathBytes);
  unlink(path.c_str());
  if (extract(path.c_str())) return path;
  unlink(path.c_str());
  return {};
}

}  // namespace

void CVeskaIndex::createAnalyzers() {
  clearAnalyzers();
  analyzers["generic"] = std::make_unique<CFileAnalyzer>(this);
  analyzers["macroman"] = std::make_unique<CMacRomanAnalyzer>(this);
  analyzers["dosoem"] = std::make_unique<CDosOemAnalyzer>(this);
  analyzers["html"] = std::make_unique<CHtmlAnalyzer>(this);
  analyzers["rtf"] = std::make_unique<CRtfAnalyzer>(this);
  analyzers["pdf"] = std::make_unique<CPdfAnalyzer>(this);
  analyzers["zip"] = std::make_unique<CZipAnalyzer>(this);
  analyzers["tar"] = std::make_unique<CTarAnalyzer>(this);
  analyzers["gzip"] = std::make_unique<CGZipAnalyzer>(this);
  analyzers["mbox"] = std::make_unique<CMBoxAnalyzer>(this);
  if (unicode) addTextAnalyzers();
  readExternalAnalyzers();
}

// The kinds that the text pipeline reads take the places of the 8-bit analyzers. What comes as a
// file and holds others has analyzers that record its members.
void CVeskaIndex::addTextAnalyzers() {
  for (const veska::unicode::Kind* kind : veska::unicode::allKinds())
    analyzers[std::string(kind->name)] = std::make_unique<CTextAnalyzer>(this, *kind);
  for (const ArchiveFormat& format : archiveFormats())
    analyzers[std::string(format.name)] = std::make_unique<CArchiveAnalyzer>(this, format);
  analyzers["mbox"] = std::make_unique<CMailboxAnalyzer>(this);
}

void CVeskaIndex::clearAnalyzers() { analyzers.clear(); }

CFileAnalyzer* CVeskaIndex::analyzerNamed(const std::string& name) const {
  const auto found = analyzers.find(name);
  return found == analyzers.end() ? nullptr : static_cast<CFileAnalyzer*>(found->second);
}

void CVeskaIndex::readExternalAnalyzers() {
  const std::string path = configurationDirectory() + "externanalyzers.txt";
  const StdioFile stream = openStdio(path.c_str(), "rbe");
  if (!stream) {
    if (errno != ENOENT && errno != ENOTDIR) reportProblem("OpenFailed", path, errno);
    return;
  }
  std::vector<char> text(kMaxConfigurationBytes);
  const size_t bytes = std::fread(text.data(), 1, text.size(), stream.get());
  if (std::ferror(stream.get()) != 0) reportProblem("ReadFailed", path, errno);
  if (bytes == text.size()) throwVeskaError("externalAnalyzersFileTooBig", path);
  const std::vector<std::string> fields = readFields({text.data(), bytes});
  for (size_t i = 0; i + 3 <= fields.size(); i += 3)
    addExternalAnalyzer(fields[i], fields[i + 1], fields[i + 2]);
}

void CVeskaIndex::addExternalAnalyzer(const std::string& name, const std::string& extension,
                                      const std::string& command) {
  Owned<CFileAnalyzer>& slot = analyzers[name];
  // Include patterns may still point at the one that is replaced.
  if (slot) replacedAnalyzers_.push_back(slot.release());
  slot = std::make_unique<CExternalAnalyzer>(this, extension.c_str(), command.c_str());
}

std::string CVeskaIndex::extractToTempFile(const char* container, const char* member,
                                           unsigned long number) {
  CFileAnalyzer* const analyzer = includedAnalyzer(container);
  if (analyzer == nullptr) return {};
  return fillTempFile(temporaryDirectory, member, number, [&](const char* path) {
    return analyzer->extractToTempFile(container, member, path, number);
  });
}

std::string CVeskaIndex::extractNested(const char* container, std::span<const uint32_t> records,
                                       size_t* levels) {
  std::vector<std::string> names;
  for (const uint32_t id : records) names.emplace_back(files->getText(id));
  CArchiveAnalyzer* const archive = archiveAnalyzer(includedAnalyzer(container), container);
  *levels = archive == nullptr ? 1 : archive->levelsInPlace(names);
  const uint32_t last = records[*levels - 1];
  if (archive == nullptr) return extractToTempFile(container, names.front().c_str(), last);
  names.resize(*levels);
  return fillTempFile(temporaryDirectory, names.back(), last, [&](const char* path) {
    return archive->extractNested(container, names, path);
  });
}
