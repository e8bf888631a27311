#include "analyzers/mailboxanalyzer.h"

#include <algorithm>
#include <limits>
#include <string>

#include "analyzers/unicode/mailbox.h"
#include "analyzers/unicode/textanalyzer.h"
#include "index/index.h"

using namespace veska::unicode;

namespace {

// A mailbox, standing at one of its messages.
class Mailbox {
 public:
  explicit Mailbox(const char* path) : file_(path), reader_(file_) {}

  bool isOpen() const { return file_.isOpen(); }
  bool failed() const { return file_.failed(); }

  bool next() {
    bytes_ = 0;
    ++number_;
    return reader_.next();
  }

  uint64_t number() const { return number_; }
  const std::string& envelope() const { return reader_.envelope(); }
  uint64_t bytesRead() const { return bytes_; }

  size_t read(char* to, size_t bytes) {
    const size_t got = reader_.read(to, bytes);
    bytes_ += got;
    return got;
  }

 private:
  FileInput file_;
  MailboxReader reader_;
  uint64_t number_ = 0;
  uint64_t bytes_ = 0;  // of the message
};

std::string_view withoutNumber(std::string_view name) { return name.substr(0, name.rfind('-')); }

}  // namespace

bool CMailboxAnalyzer::indexFile(const char* path, unsigned long parentId) {
  ContainerScope scope(*index, path);
  if (scope.tooDeep()) return true;
  Mailbox mailbox(path);
  if (!mailbox.isOpen()) {
    openFailed(scope);
    return false;
  }
  auto* const analyzer = dynamic_cast<CTextAnalyzer*>(index->analyzerNamed("mail"));
  StreamInput message([&mailbox](char* to, size_t bytes) { return mailbox.read(to, bytes); });
  while (analyzer != nullptr && !scope.exhausted() && mailbox.next()) {
    PeekedInput peeked(message);
    int64_t time = 0;
    const std::string name =
        messageName(peeked.head(), mailbox.envelope(), mailbox.number(), &time);
    if (isUpToDate(name.c_str(), parentId, time)) continue;
    const uint32_t id = enterRecord(name.c_str(), parentId, time, 0);
    scope.beginMember(name);
    analyzer->indexStream([&peeked](char* to, size_t bytes) { return peeked.read(to, bytes); },
                          index->expansion.memberPath.c_str(), id);
    const uint64_t size =
        std::min<uint64_t>(mailbox.bytesRead(), std::numeric_limits<uint32_t>::max());
    enterRecord(name.c_str(), parentId, time, static_cast<uint32_t>(size));
  }
  if (mailbox.failed()) readFailed(scope);
  ++index->contentsIndexed;
  return true;
}

bool CMailboxAnalyzer::extractToTempFile(const char* container, const char* member,
                                         const char* tempPath, unsigned long) {
  const uint64_t number = messageNumber(member);
  for (const bool exactly : {true, false}) {
    Mailbox mailbox(container);
    if (!mailbox.isOpen()) return false;
    StreamInput message([&mailbox](char* to, size_t bytes) { return mailbox.read(to, bytes); });
    while (mailbox.next()) {
      if (exactly && mailbox.number() < number) continue;
      PeekedInput peeked(message);
      int64_t time = 0;
      const std::string name =
          messageName(peeked.head(), mailbox.envelope(), mailbox.number(), &time);
      if (withoutNumber(name) == withoutNumber(member)) {
        return extract(container, member, tempPath, [&peeked](char* to, size_t bytes) {
          return static_cast<long>(peeked.read(to, bytes));
        });
      }
      if (exactly) break;
    }
  }
  return false;
}

char* CMailboxAnalyzer::fillDisplayBuffer(const char* path, unsigned long fileId,
                                          unsigned long maxBytes, int lineWidth, bool option) {
  return CTextAnalyzer(index, *kindNamed("mbox"))
      .fillDisplayBuffer(path, fileId, maxBytes, lineWidth, option);
}
