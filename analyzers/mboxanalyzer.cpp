#include "analyzers/mboxanalyzer.h"

#include <algorithm>
#include <ctime>
#include <memory>
#include <new>

#include "analyzers/inputfile.h"
#include "analyzers/mailscan.h"
#include "index/index.h"

namespace {

constexpr uint64_t kReadAheadBytes = 1000;
constexpr size_t kNameBytes = 256;
constexpr size_t kDateBytes = 22;  // of a name: the date, the blanks around it, the final zero
constexpr std::string_view kTextExtension = "txt";

// The address between "<" and ">", else the header's first line.
std::string_view senderOf(std::string_view from) {
  constexpr std::string_view kLineEnds("\r\n\0", 3);
  constexpr std::string_view kAddressEnds(">\r\n\0", 4);
  if (const size_t open = from.find('<'); open != from.npos) {
    const size_t end = from.find_first_of(kAddressEnds, open);
    if (end != from.npos && from[end] == '>') return from.substr(open + 1, end - open - 1);
  }
  const size_t start = from.find_first_not_of(" \t\r\n");
  if (start == from.npos) return {};
  return from.substr(start, from.find_first_of(kLineEnds, start) - start);
}

std::string_view extensionOf(std::string_view name) {
  const size_t dot = name.rfind('.');
  return dot == name.npos ? kTextExtension : name.substr(dot + 1);
}

// Reads a date word by word.
class DateReader {
 public:
  explicit DateReader(std::string_view text) : text_(text) {}

  void skipBlanks() {
    skip([](char c) { return isBlank(c); });
  }
  bool atDigit() const { return !text_.empty() && isDigit(text_.front()); }

  std::string_view word() {
    const std::string_view before = text_;
    skip([](char c) { return !isBlank(c); });
    const std::string_view result = before.substr(0, before.size() - text_.size());
    skipBlanks();
    return result;
  }

  // The number that stands here; value stays as it is when none does.
  void number(int& value) {
    constexpr int kMost = 1'000'000;
    if (!atDigit()) return;
    value = 0;
    while (atDigit()) {
      value = std::min(value * 10 + (text_.front() - '0'), kMost);
      text_.remove_prefix(1);
    }
  }

  bool colon() {
    if (!text_.starts_with(':')) return false;
    text_.remove_prefix(1);
    return true;
  }

 private:
  static bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }
  static bool isDigit(char c) { return c >= '0' && c <= '9'; }

  template <typename Test>
  void skip(Test test) {
    const auto end = std::find_if_not(text_.begin(), text_.end(), test);
    text_.remove_prefix(static_cast<size_t>(end - text_.begin()));
  }

  std::string_view text_;
};

// Month of the year from 0 on; -1 when the word is none.
int monthOf(std::string_view word) {
  constexpr std::string_view kMonths = "JanFebMarAprMayJunJulAugSepOctNovDec";
  if (word.size() < 3) return -1;
  const size_t at = kMonths.find(word.substr(0, 3));
  return at == kMonths.npos || at % 3 != 0 ? -1 : static_cast<int>(at / 3);
}

}  // namespace

bool CMBoxAnalyzer::indexFile(const char* path, unsigned long parentId) {
  ContainerScope scope(*index, path);
  if (scope.tooDeep()) return true;
  InputFile file(path);
  if (!file.isOpen()) {
    openFailed(scope);
    return false;
  }
  const uint64_t most = index->maxPerFileRead;
  const auto bytes =
      static_cast<size_t>(std::min(file.size(), std::max(most, most + kReadAheadBytes)));
  const std::unique_ptr<char[]> buffer(new (std::nothrow) char[bytes]);
  if (!buffer) return false;
  const std::string_view mailbox(buffer.get(), file.read(buffer.get(), bytes));
  if (file.failed()) readFailed(scope);

  scanMailbox(mailbox, [&](const MailPart& part) {
    if (scope.exhausted()) return;
    const long time = parseAsctime(part.date);
    const std::string name = makeFileName(
        part.from, time, part.isAttachment ? part.extension : kTextExtension, part.number);
    scope.beginMember(name);
    processMessageText(name.c_str(), time, parentId, part.data.data(), part.data.size(),
                       part.isAttachment);
  });
  ++index->contentsIndexed;
  return true;
}

void CMBoxAnalyzer::processMessageText(const char* name, long time, unsigned long parentId,
                                       const char* data, unsigned long length, bool isAttachment) {
  if (isUpToDate(name, parentId, time)) return;
  CFileAnalyzer* analyzer =
      isAttachment ? index->analyzerThatMatches(name) : index->analyzerNamed("generic");
  if (!analyzer) return;
  const uint32_t id = enterRecord(name, parentId, time, static_cast<uint32_t>(length));

  MemberCopy copy(*index, makeCachePath(name, id));
  if (!copy.isOpen()) return;
  std::string_view text(data, length);
  Base64Reader attachment(text);
  const auto asItIs = [&text](char* to, size_t bytes) {
    const size_t taken = text.copy(to, bytes);
    text.remove_prefix(taken);
    return static_cast<long>(taken);
  };
  const auto decoded = [&attachment](char* to, size_t bytes) {
    return static_cast<long>(attachment.read(to, bytes));
  };
  const MemberCopy::Result result =
      copy.fill(isAttachment ? MemberSource(decoded) : MemberSource(asItIs));
  if (result == MemberCopy::Result::kNotWritten) return;
  copy.keep();
  analyzer->indexFile(copy.path().c_str(), id);
}

bool CMBoxAnalyzer::extractToTempFile(const char* container, const char* member,
                                      const char* tempPath, unsigned long id) {
  InputFile cache(makeCachePath(member, id).c_str());
  return cache.isOpen() && extract(container, member, tempPath, cache.source(0, cache.size()));
}

std::string CMBoxAnalyzer::makeCachePath(std::string_view name, unsigned long id) const {
  return temporaryPath(index->temporaryDirectory, id, '.' + std::string(extensionOf(name)));
}

std::string CMBoxAnalyzer::makeFileName(std::string_view from, long time,
                                        std::string_view extension, int number) {
  const std::string suffix = '-' + std::to_string(number) + '.';
  const size_t taken = suffix.size() + extension.size() + kDateBytes;
  std::string name(senderOf(from).substr(0, kNameBytes > taken ? kNameBytes - taken : 0));
  const time_t seconds = time;
  struct tm local = {};
  char date[32] = {};
  localtime_r(&seconds, &local);
  std::strftime(date, sizeof date, "%Y-%m-%d %H:%M:%S", &local);
  name.append(1, ' ').append(date).append(suffix).append(extension);
  return name.substr(0, kNameBytes - 1);
}

long CMBoxAnalyzer::parseAsctime(std::string_view text) {
  const time_t now = time(nullptr);
  struct tm local = {};
  localtime_r(&now, &local);
  local.tm_isdst = -1;

  DateReader date(text);
  date.skipBlanks();
  if (!date.atDigit()) date.word();
  for (int i = 0; i < 2; ++i) {
    if (date.atDigit()) {
      date.number(local.tm_mday);
      date.word();
    } else {
      local.tm_mon = monthOf(date.word());
      if (local.tm_mon < 0) return 0;
    }
  }
  int year = local.tm_year + 1900;
  date.number(year);
  date.word();
  local.tm_year = year - 1900;
  date.number(local.tm_hour);
  if (date.colon()) date.number(local.tm_min);
  if (date.colon()) date.number(local.tm_sec);
  return recordTime(mktime(&local));
}
