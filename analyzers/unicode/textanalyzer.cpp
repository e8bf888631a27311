#include "analyzers/unicode/textanalyzer.h"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <string>

#include "analyzers/container.h"
#include "analyzers/unicode/displaywriter.h"
#include "analyzers/unicode/plaintext.h"
#include "analyzers/unicode/tokenizer.h"
#include "api/reporting.h"
#include "index/index.h"

using namespace veska::unicode;

namespace {

// The part of a document that the limit for a file lets be read, counted as it is. Once bytes are
// not read in order, the limit holds for the text alone.
class CountedInput : public ByteInput {
 public:
  CountedInput(ByteInput& input, CVeskaIndex& index, const char* path)
      : input_(input), index_(index), path_(path), left_(index.maxPerFileRead) {}

  size_t read(char* to, size_t bytes) override {
    if (!sought_) bytes = std::min<size_t>(bytes, left_);
    const size_t got = bytes == 0 ? 0 : input_.read(to, bytes);
    left_ -= std::min<unsigned long>(left_, got);
    if (got != 0) index_.countBytesRead(got, path_);
    return got;
  }

  bool failed() const override { return input_.failed(); }
  bool isSeekable() const override { return input_.isSeekable(); }
  uint64_t size() const override { return input_.size(); }
  void seek(uint64_t offset) override {
    sought_ = true;
    input_.seek(offset);
  }

 private:
  ByteInput& input_;
  CVeskaIndex& index_;
  const char* path_;
  unsigned long left_;
  bool sought_ = false;
};

// Passes on as much text as the limit for a file allows.
class LimitedSink : public TextSink {
 public:
  LimitedSink(TextSink& sink, unsigned long bytes) : sink_(sink), left_(bytes) {}

  bool text(std::string_view utf8) override {
    if (left_ == 0) return false;
    if (utf8.size() > left_) {
      size_t whole = left_;
      while (whole != 0 && (static_cast<unsigned char>(utf8[whole]) & 0xC0) == 0x80) --whole;
      utf8 = utf8.substr(0, whole);
      left_ = utf8.size();
    }
    left_ -= utf8.size();
    return sink_.text(utf8) && left_ != 0;
  }
  bool boundary(Break strength) override { return sink_.boundary(strength); }

 private:
  TextSink& sink_;
  unsigned long left_;
};

// Posts progress once a second; a halt ends the text.
class ReportingSink : public TextSink {
 public:
  ReportingSink(TextSink& sink, const char* path)
      : sink_(sink), path_(path), lastReport_(std::time(nullptr)) {}

  bool text(std::string_view utf8) override { return sink_.text(utf8) && goesOn(); }
  bool boundary(Break strength) override { return sink_.boundary(strength); }

 private:
  bool goesOn() {
    const time_t now = std::time(nullptr);
    if (now <= lastReport_) return true;
    lastReport_ = now;
    return setStatus("DecodingGeneric", path_);
  }

  TextSink& sink_;
  const char* path_;
  time_t lastReport_;
};

void reportOutcome(CVeskaIndex& index, Outcome outcome, const char* path) {
  if (outcome == Outcome::kDamaged) reportProblem("Damaged", path);
  if (outcome == Outcome::kNeedsPassword) reportProblem("PasswordNeeded", path);
  if (outcome != Outcome::kLimited) return;
  ++index.limitsReached;
  reportProblem("LimitReached", path);
}

SourceRequest requestFor(const CVeskaIndex& index, std::string_view name) {
  SourceRequest request;
  request.name = name;
  request.maxExpanded = index.maxArchiveBytes;
  return request;
}

}  // namespace

bool CTextAnalyzer::indexFile(const char* path, unsigned long parentId) {
  FileInput file(path);
  if (!file.isOpen()) {
    index->readFailed = true;
    reportProblem("OpenFailed", path, errno);
    return false;
  }
  PeekedInput peeked(file);
  if (CFileAnalyzer* const container = containerAnalyzer(peeked, path))
    return container->indexFile(path, parentId);
  indexInput(peeked, path, path, parentId);
  if (file.failed()) {
    index->readFailed = true;
    reportProblem("ReadFailed", path);
  }
  return true;
}

CFileAnalyzer* CTextAnalyzer::containerAnalyzer(PeekedInput& input, std::string_view name) const {
  if (kind_.name != "generic") return nullptr;
  const Kind* const kind = kindOfDocument(kind_, input.head(), name);
  if (kind == nullptr) return nullptr;
  return dynamic_cast<CContainerAnalyzer*>(index->analyzerNamed(std::string(kind->name)));
}

CFileAnalyzer* CTextAnalyzer::containerAnalyzer(const char* path) const {
  FileInput file(path);
  if (!file.isOpen()) return nullptr;
  PeekedInput peeked(file);
  return containerAnalyzer(peeked, path);
}

bool CTextAnalyzer::extractToTempFile(const char* container, const char* member,
                                      const char* tempPath, unsigned long id) {
  CFileAnalyzer* const analyzer = containerAnalyzer(container);
  return analyzer != nullptr && analyzer->extractToTempFile(container, member, tempPath, id);
}

void CTextAnalyzer::indexStream(const BlockReader& read, const char* path, unsigned long recordId) {
  StreamInput stream(read);
  // A copy: the file table may move.
  const std::string name = index->files->getText(recordId);
  indexInput(stream, name, path, recordId);
}

void CTextAnalyzer::indexInput(ByteInput& input, std::string_view name, const char* path,
                               unsigned long recordId) {
  CountedInput counted(input, *index, path);
  IndexingTaker taker(*index, recordId);
  Tokenizer tokenizer(*index, wordLengths(*index), taker);
  LimitedSink sink(tokenizer, index->maxPerFileRead);
  const Outcome outcome = deliverDocument(kind_, counted, requestFor(*index, name), sink);
  tokenizer.finish();
  reportOutcome(*index, outcome, path);
  if (outcome != Outcome::kBinary) ++index->contentsIndexed;
}

bool CTextAnalyzer::isMarkup() const { return kind_.name == "html" || kind_.name == "xml"; }

char* CTextAnalyzer::fillDisplayBuffer(const char* path, unsigned long, unsigned long maxBytes,
                                       int lineWidth, bool option) {
  FileInput file(path);
  if (!file.isOpen()) throwVeskaError("CannotOpenContentsFile", path, errno);
  DisplayWriter writer(maxBytes, lineWidth);
  ReportingSink sink(writer, path);
  const SourceRequest request = requestFor(*index, path);
  if (isMarkup() && !option) {
    makePlainTextSource()->deliver(file, request, sink);
  } else {
    deliverDocument(kind_, file, request, sink);
  }
  if (file.failed()) throwVeskaError("CannotOpenContentsFile", path, EIO);
  writer.finish();
  return writer.release();
}
