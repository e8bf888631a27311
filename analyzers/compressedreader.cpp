#include <algorithm>
#include <utility>

#include "analyzers/archivereader.h"
#include "analyzers/decoder.h"
#include "analyzers/unicode/readahead.h"

using namespace veska::unicode;

namespace {

using Recogniser = bool (*)(std::string_view head);

constexpr size_t kBufferBytes = 65536;
constexpr size_t kMagicBytes = 16;  // enough to recognise each format

struct Extension {
  std::string_view packed;
  std::string_view unpacked;
};
constexpr Extension kExtensions[] = {
    {".gz", ""},      {".xz", ""},      {".bz2", ""},      {".zst", ""},      {".tgz", ".tar"},
    {".txz", ".tar"}, {".tbz", ".tar"}, {".tbz2", ".tar"}, {".tzst", ".tar"},
};

// What a file of that name holds is called. A name without an extension of these stays as it is;
// one that is nothing else is not its own member for ever.
std::string unpackedName(std::string_view path) {
  const std::string_view base = path.substr(path.find_last_of("/\\") + 1);
  const size_t dot = base.rfind('.');
  if (dot == base.npos) return std::string(base);
  std::string extension(base.substr(dot));
  for (char& c : extension)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + 0x20);
  for (const Extension& known : kExtensions)
    if (known.packed == extension)
      return std::string(dot == 0 ? "data" : base.substr(0, dot)).append(known.unpacked);
  return std::string(base);
}

class CompressedReader : public ArchiveReader {
 public:
  CompressedReader(ByteInput& input, std::string_view name, std::unique_ptr<Decoder> decoder,
                   Recogniser recognise)
      : window_(input, kBufferBytes), decoder_(std::move(decoder)), recognise_(recognise) {
    setName(unpackedName(name), "WINDOWS-1252");
  }

  bool next() override { return !std::exchange(taken_, true); }

  Opened open() override {
    window_.fill();
    plain_ = !recognise_(window_.rest());
    return plain_ || beginStream() ? Opened::kYes : Opened::kUnreadable;
  }

  long read(char* to, size_t bytes) override {
    size_t done = 0;
    while (done < bytes && !ended_) {
      if (window_.rest().empty()) window_.fill();
      done += plain_ ? copy(to + done, bytes - done) : decode(to + done, bytes - done);
    }
    return done == 0 && broken_ ? -1 : static_cast<long>(done);
  }

 private:
  bool beginStream() {
    inStream_ = decoder_->begin();
    return inStream_;
  }

  size_t copy(char* to, size_t bytes) {
    const size_t count = window_.rest().copy(to, bytes);
    window_.take(count);
    ended_ = window_.rest().empty() && window_.ended();
    return count;
  }

  // Another stream may follow, behind zeros that fill a block; what is none does not count.
  void betweenStreams() {
    window_.take(std::min(window_.rest().find_first_not_of('\0'), window_.rest().size()));
    if (window_.rest().size() < kMagicBytes && !window_.ended()) window_.fill();
    if (window_.rest().starts_with('\0')) return;
    ended_ = !recognise_(window_.rest()) || !beginStream();
  }

  size_t decode(char* to, size_t bytes) {
    if (!inStream_) {
      betweenStreams();
      return 0;
    }
    std::string_view rest = window_.rest();
    const size_t before = rest.size();
    size_t written = 0;
    const Decoder::State state = decoder_->decode(rest, to, bytes, &written);
    window_.take(before - rest.size());
    if (state == Decoder::State::kEnded) inStream_ = false;
    const bool stuck = state == Decoder::State::kGoesOn && written == 0 && rest.size() == before;
    broken_ = state == Decoder::State::kDamaged || (stuck && (window_.ended() || before != 0));
    ended_ = broken_;
    return written;
  }

  ReadAhead window_;  // what is packed
  std::unique_ptr<Decoder> decoder_;
  Recogniser recognise_;
  bool taken_ = false;
  bool plain_ = false;
  bool inStream_ = false;
  bool ended_ = false;
  bool broken_ = false;
};

}  // namespace

std::unique_ptr<ArchiveReader> openGzip(ByteInput& input, std::string_view name) {
  return std::make_unique<CompressedReader>(input, name, makeGzipDecoder(), isGzip);
}

std::unique_ptr<ArchiveReader> openXz(ByteInput& input, std::string_view name) {
  return std::make_unique<CompressedReader>(input, name, makeXzDecoder(), isXz);
}

std::unique_ptr<ArchiveReader> openBzip2(ByteInput& input, std::string_view name) {
  return std::make_unique<CompressedReader>(input, name, makeBzip2Decoder(), isBzip2);
}

std::unique_ptr<ArchiveReader> openZstd(ByteInput& input, std::string_view name) {
  return std::make_unique<CompressedReader>(input, name, makeZstdDecoder(), isZstd);
}

bool isGzip(std::string_view head) { return head.starts_with("\x1F\x8B\x08"); }

bool isXz(std::string_view head) {
  return head.starts_with(
      std::string_view("\xFD"
                       "7zXZ\0",
                       6));
}

// A block follows, or the end of an empty file.
bool isBzip2(std::string_view head) {
  constexpr size_t kLevel = 3;
  if (!head.starts_with("BZh") || head.size() < 10 || head[kLevel] < '1' || head[kLevel] > '9')
    return false;
  const std::string_view magic = head.substr(kLevel + 1, 6);
  return magic == "1AY&SY" || magic == "\x17\x72\x45\x38\x50\x90";
}

// A frame, or one that is to be passed over.
bool isZstd(std::string_view head) {
  return head.starts_with("\x28\xB5\x2F\xFD") ||
         (head.size() >= 4 && (head[0] & 0xF0) == 0x50 && head.substr(1, 3) == "\x2A\x4D\x18");
}
