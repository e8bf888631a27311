#include "host/progress.h"

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>

#include "host/charset.h"
#include "host/encoding.h"

namespace veska {
namespace {

constexpr auto kShortestPause = std::chrono::milliseconds(100);
constexpr size_t kWidthWhenUnknown = 80;

size_t terminalWidth() {
  winsize size = {};
  const bool known = ::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return known ? size.ws_col : kWidthWhenUnknown;
}

bool isControl(char32_t code) { return code < 0x20 || (code >= 0x7F && code < 0xA0); }

}  // namespace

std::string grouped(uint64_t number) {
  std::string digits = std::to_string(number);
  for (size_t at = digits.size(); at > 3; at -= 3) digits.insert(at - 3, 1, ',');
  return digits;
}

std::string sizeText(double bytes) {
  constexpr const char* kUnits[] = {"kB", "MB", "GB", "TB"};
  if (bytes < 1000) return fmt::format("{:.0f} bytes", bytes);
  size_t unit = 0;
  for (bytes /= 1000; bytes >= 999.95 && unit + 1 < std::size(kUnits); bytes /= 1000) ++unit;
  return fmt::format("{:.1f} {}", bytes, kUnits[unit]);
}

std::string pathToFit(std::string_view path, size_t width) {
  std::string text;
  for (size_t at = 0; at < path.size();) {
    const DecodedChar c = decodeUtf8(path, at);
    if (!c.valid || isControl(c.code)) {
      text += '?';
    } else {
      text += path.substr(at, c.bytes);
    }
    at += c.bytes;
  }
  size_t columns = columnCount(text);
  if (columns <= width) return text;
  if (width < 4) return {};
  size_t cut = 0;
  while (columns > width - 3) {
    const DecodedChar c = decodeUtf8(text, cut);
    cut += c.bytes;
    columns -= columnsOf(c.code);
  }
  return "..." + text.substr(cut);
}

Progress::Progress(bool quiet)
    : active_(!quiet && ::isatty(STDERR_FILENO) == 1), start_(std::chrono::steady_clock::now()) {}

Progress::~Progress() {
  if (shown_) write("");
}

void Progress::phase(std::string_view what) {
  if (active_) write(std::string(what) + " ...");
}

void Progress::report(CVeskaIndex* index, std::string_view key, std::string_view detail) {
  if (!active_) return;
  const auto now = std::chrono::steady_clock::now();
  if (shown_ && now - last_ < kShortestPause) return;
  last_ = now;
  if (key == "CountingCompress" || key == "CompLinksFmt") return phase("sorting the words");
  if (key == "UpdatingStatus") return countedLine(index, "checking what changed");
  if (key == "IndexingFile") return countedLine(index, detail.substr(0, detail.rfind('\t')));
  if (key == "BytesIndexing") countedLine(index, detail.substr(detail.find('\t') + 1));
}

// Files and bytes since the run began: the counters go on over the runs.
void Progress::countedLine(CVeskaIndex* index, std::string_view path) {
  if (index == nullptr) return;
  if (bytesBefore_ < 0) {
    bytesBefore_ = vidxGetBytesRead(index);
    filesBefore_ = vidxGetFilesIndexed(index);
  }
  const double bytes = vidxGetBytesRead(index) - bytesBefore_;
  const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - start_;
  const double rate = passed.count() > 0.5 ? bytes / passed.count() : 0;
  const std::string line = fmt::format(
      "{} files, {} words, {}, {}/s  ", grouped(vidxGetFilesIndexed(index) - filesBefore_),
      grouped(vidxGetWordsIndexed(index)), sizeText(bytes), sizeText(rate));
  const size_t width = terminalWidth() - 1;
  std::string shown(path);
  if (!scratch_.empty() && path.starts_with(scratch_)) {
    // The record's number stands before the name.
    shown = "in an archive: " +
            shown.substr(
                std::min(shown.find_first_not_of("0123456789", scratch_.size()), shown.size()));
  }
  write(line.size() >= width ? line.substr(0, width)
                             : line + pathToFit(shown, width - line.size()));
}

void Progress::write(std::string line) {
  shown_ = !line.empty();
  line = "\r\033[K" + Charset::ofLocale().encoded(line);
  // A terminal that is gone is no reason to stop.
  [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, line.data(), line.size());
}

}  // namespace veska
