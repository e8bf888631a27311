#include "host/errors.h"

#include <cerrno>
#include <cstring>
#include <utility>

namespace veska {
namespace {

constexpr std::string_view kRebuild =
    "see what is wrong with: veska verify; repair with: veska rebuild";
constexpr std::string_view kMakeRoom = "make room on the disk and run the command again";

// "%" in a sentence stands for the report's detail, "@", before it, for the folder of the index.
struct ReportText {
  std::string_view key;
  std::string_view sentence;
  std::string_view remedy;
};

constexpr ReportText kReportTexts[] = {
    {"StorageReadError", "the index in % cannot be read or written", kRebuild},
    {"AssertionFailed", "the index in @ is damaged %", kRebuild},
    {"PruneParentError", "the index in @ is damaged: a file belongs to no folder %", kRebuild},
    {"FileMapWriteFail", "the table % cannot be opened or mapped", kRebuild},
    {"FileMapOpenRWFail", "the table % cannot be opened for writing",
     "check the owner and the rights of the file"},
    {"UnmapFail", "the table % cannot be released", "run the command again"},
    {"MemFileOpenFail", "the table % cannot be created",
     "check the rights of the folder and the room on the disk"},
    {"MemFileExtendFail", "a table in @ cannot grow to this many bytes: %", kMakeRoom},
    {"GetHugeSpace", "a table in @ would pass 4 GB: %",
     "leave folders out, or lower the word lengths in veska.toml, and run: veska rebuild"},
    {"NoMemory", "there is not enough memory %", "close other programs and run the command again"},
    {"SkipOpenFail", "the list of skip words % cannot be opened", "make the file readable"},
    {"externalAnalyzersFileTooBig", "the list of converters % is 64 kB or larger", "shorten it"},
    {"AnalyzerNotFound", "there is no reader named \"%\"",
     "correct the name in veska.toml, or add a converter of that name to externanalyzers.txt"},
    {"NoFileContentsForDir", "a folder has no text to show %", "name a file in it"},
    {"ArchivesNestedTooDeep", "the file lies too deep within archives within archives %",
     "unpack the outer archives to read it"},
    {"ArchiveExtractError", "the file cannot be taken out of its archive %",
     "the archive may have changed; run: veska update"},
    {"CannotOpenContentsFile", "the file % cannot be opened",
     "it may have been removed, or its rights changed; run: veska update"},
};

constexpr struct {
  std::string_view key;
  std::string_view sentence;
  std::string_view remedy;
} kProblemTexts[] = {
    {"OpenFailed", "cannot be opened", "check its rights"},
    {"ReadFailed", "cannot be read to its end", "check the disk"},
    {"FolderUnreadable", "is a folder that cannot be read", "check its rights"},
    {"PathTooLong", "has a path that is too long", "move it nearer to the top"},
    {"MemberFailed", "cannot be taken out of its archive", "try to unpack it by hand"},
    {"LimitReached", "is larger than a limit allows, and was read in part",
     "raise the limit in veska.toml if you trust it"},
    {"ConverterFailed", "could not be converted", "try its command in externanalyzers.txt by hand"},
    {"PasswordNeeded", "is locked by a password", "save a copy without one"},
    {"Damaged", "is damaged, and was read in part", "get an intact copy"},
};

// What to do about an error of the system.
std::string_view remedyFor(int number, std::string_view otherwise) {
  switch (number) {
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
      return kMakeRoom;
    case EACCES:
    case EPERM:
      return "check the owner and the rights of the file";
    case EIO:
      return "check the disk";
    default:
      return otherwise;
  }
}

std::string withDetail(std::string_view sentence, const std::string& detail,
                       const std::string& place) {
  constexpr std::string_view kPlace = " in @";
  if (const size_t at = sentence.find(kPlace); at != std::string_view::npos) {
    const std::string head = std::string(sentence.substr(0, at)) + (place.empty() ? "" : " in ");
    return head + place + withDetail(sentence.substr(at + kPlace.size()), detail, {});
  }
  std::string text(sentence);
  const size_t mark = text.find('%');
  if (mark == std::string::npos) return text;
  if (!detail.empty()) {
    // Behind the sentence the detail is an addition, and stands in parentheses.
    const bool addition = mark + 1 == text.size() && !text.ends_with(": %");
    text.replace(mark, 1, detail);
    return addition ? text.insert(mark, 1, '(') + ")" : text;
  }
  text.erase(mark, 1);
  while (!text.empty() && (text.back() == ' ' || text.back() == ':')) text.pop_back();
  return text;
}

}  // namespace

HostError::HostError(const std::string& sentence, std::string remedy, int exitStatus,
                     int systemError)
    : std::runtime_error(sentence),
      remedy_(std::move(remedy)),
      exitStatus_(exitStatus),
      systemError_(systemError) {}

void fail(const std::string& sentence, const std::string& remedy, int exitStatus) {
  throw HostError(sentence, remedy, exitStatus);
}

void fail(const HostError& error) { throw error; }

void failWithErrno(const std::string& sentence, int number, const std::string& remedy) {
  throw HostError(sentence + ": " + std::strerror(number), remedy, kExitError, number);
}

HostError errorOf(const Report& report) {
  if (report.key == "HaltRequested") return {"interrupted", "", kExitInterrupted};
  for (const ReportText& text : kReportTexts) {
    if (text.key == report.key) {
      std::string sentence = withDetail(text.sentence, report.detail, report.place);
      if (report.systemError == 0 || text.key == "NoMemory") {
        return {sentence, std::string(text.remedy), kExitError, report.systemError};
      }
      sentence += std::string(": ") + std::strerror(report.systemError);
      const std::string_view remedy = report.systemError == ENOENT
                                          ? text.remedy
                                          : remedyFor(report.systemError, "run the command again");
      return {sentence, std::string(remedy), kExitError, report.systemError};
    }
  }
  std::string sentence = "the engine reports " + (report.key.empty() ? "no reason" : report.key);
  if (!report.detail.empty()) sentence += " (" + report.detail + ")";
  return {sentence, std::string(kRebuild), kExitError};
}

ProblemText problemText(std::string_view key, int systemError) {
  for (const auto& entry : kProblemTexts) {
    if (entry.key != key) continue;
    std::string sentence(entry.sentence);
    if (systemError != 0) sentence += std::string(": ") + std::strerror(systemError);
    return {sentence, std::string(remedyFor(systemError, entry.remedy))};
  }
  return {"was passed over", ""};
}

std::string problemLine(std::string_view name, std::string_view key, int systemError) {
  const ProblemText text = problemText(key, systemError);
  const std::string_view between = text.remedy.empty() ? "" : "; ";
  return std::string(name).append(": ").append(text.sentence).append(between).append(text.remedy);
}

}  // namespace veska
