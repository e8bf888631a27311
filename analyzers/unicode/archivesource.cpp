#include "analyzers/unicode/archivesource.h"

#include <algorithm>
#include <array>
#include <string>

#include "analyzers/archivereader.h"

namespace veska::unicode {
namespace {

// Of all packed parts of a document together, where the host sets no limit.
constexpr uint64_t kMostExpanded = uint64_t{1} << 30;

class ArchiveSource : public TextSource {
 public:
  explicit ArchiveSource(const ArchiveFormat& format) : format_(format) {}

  Outcome deliver(ByteInput& input, const SourceRequest& request, TextSink& sink) override {
    const std::unique_ptr<ArchiveReader> reader = format_.open(input, request.name);
    uint64_t ownCount = 0;
    SourceRequest inner = request;
    if (inner.expanded == nullptr) inner.expanded = &ownCount;
    if (inner.maxExpanded == 0) inner.maxExpanded = kMostExpanded;
    inner.charset = {};
    Outcome worst = Outcome::kDone;
    while (reader->next()) {
      const Outcome outcome = deliverMember(*reader, inner, sink);
      if (outcome == Outcome::kStopped) return outcome;
      if (worst == Outcome::kDone && outcome != Outcome::kBinary) worst = outcome;
      if (*inner.expanded >= inner.maxExpanded) return Outcome::kLimited;
    }
    return reader->isDamaged() && worst == Outcome::kDone ? Outcome::kDamaged : worst;
  }

 private:
  Outcome deliverMember(ArchiveReader& reader, SourceRequest request, TextSink& sink) const {
    const std::string name = reader.member().name;
    if (!sink.boundary(Break::kParagraph) || !sink.text(name) || !sink.boundary(Break::kParagraph))
      return Outcome::kStopped;
    const ArchiveReader::Opened opened = reader.open();
    if (opened == ArchiveReader::Opened::kNeedsPassword) return Outcome::kNeedsPassword;
    if (opened == ArchiveReader::Opened::kUnreadable) return Outcome::kDamaged;
    bool damaged = false;
    bool limited = false;
    StreamInput member([&](char* to, size_t bytes) {
      size_t done = 0;
      while (done < bytes) {
        const uint64_t room =
            request.maxExpanded - std::min(request.maxExpanded, *request.expanded);
        const long got =
            reader.read(to + done, static_cast<size_t>(std::min<uint64_t>(room, bytes - done)));
        damaged = damaged || got < 0;
        limited = limited || room == 0;
        if (got <= 0) break;
        done += static_cast<size_t>(got);
        if (format_.expands) *request.expanded += static_cast<size_t>(got);
      }
      return done;
    });
    request.name = name;
    const Outcome outcome = deliverDocument(member, request, sink);
    if (outcome == Outcome::kStopped) return outcome;
    if (limited) return Outcome::kLimited;
    return damaged ? Outcome::kDamaged : outcome;
  }

  const ArchiveFormat& format_;
};

template <size_t number>
std::unique_ptr<TextSource> makeSource() {
  return std::make_unique<ArchiveSource>(archiveFormats()[number]);
}

template <size_t... numbers>
auto listKinds(std::index_sequence<numbers...>) {
  const auto formats = archiveFormats();
  return std::array{Kind{formats[numbers].name, formats[numbers].extensions,
                         formats[numbers].needsSeek, makeSource<numbers>,
                         formats[numbers].recognise}...};
}

}  // namespace

std::span<const Kind> archiveKinds() {
  static const auto kinds = listKinds(std::make_index_sequence<kArchiveFormats>());
  return kinds;
}

}  // namespace veska::unicode
