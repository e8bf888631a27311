#include "analyzers/unicode/mailtext.h"

#include <algorithm>
#include <utility>

#include "analyzers/unicode/mailheader.h"

namespace veska::unicode {
namespace {

constexpr auto npos = std::string_view::npos;
constexpr size_t kMostLineBytes = 65536;

constexpr std::string_view kBegin = "-----BEGIN ";
constexpr std::string_view kEnd = "-----END ";
constexpr std::string_view kDashes = "-----";

std::string_view bareLine(std::string_view line) {
  return line.substr(0, line.find_last_not_of("\r\n") + 1);
}

// uuencode: the first character tells the bytes in the line, every 3 of which are 4 characters.
bool isUuencoded(std::string_view line) {
  if (line.empty() || line.front() < ' ' || line.front() > '`') return false;
  const size_t bytes = static_cast<size_t>(line.front() - ' ') & 63;
  const size_t characters = (bytes + 2) / 3 * 4;
  // Blanks at the end may be missing; some programs write a check sum.
  return line.size() <= characters + 2 && line.size() + 3 >= characters &&
         std::all_of(line.begin(), line.end(), [](char c) { return c >= ' ' && c <= '`'; });
}

// "begin 644 name"
bool beginsUuencode(std::string_view line) {
  constexpr std::string_view kWord = "begin ";
  if (!line.starts_with(kWord)) return false;
  line.remove_prefix(kWord.size());
  const size_t digits = std::min(line.find_first_not_of("01234567"), line.size());
  return (digits == 3 || digits == 4) && digits + 1 < line.size() && line[digits] == ' ';
}

}  // namespace

bool MailTextSink::text(std::string_view utf8) {
  const bool begun = !line_.empty() || lineCut_;
  size_t feed = utf8.find('\n');
  if (begun && feed != npos) {
    line_ += utf8.substr(0, feed + 1);
    utf8.remove_prefix(feed + 1);
    if (!endLine()) return false;
  }
  // Lines that stay as they are go on together.
  std::string_view run = utf8.substr(0, 0);
  while ((feed = utf8.find('\n')) != npos) {
    const std::string_view whole = utf8.substr(0, feed + 1);
    utf8.remove_prefix(feed + 1);
    if (flow_ == Flow::kFixed && !isNoise(bareLine(whole))) {
      run = {run.data(), run.size() + whole.size()};
      continue;
    }
    if (!run.empty() && !sink_.text(run)) return false;
    if (flow_ != Flow::kFixed && !line(whole)) return false;
    run = utf8.substr(0, 0);
  }
  if (!run.empty() && !sink_.text(run)) return false;
  line_ += utf8;
  return line_.size() < kMostLineBytes || cutLine();
}

// Ends the line that was begun.
bool MailTextSink::endLine() {
  const bool more = lineCut_ ? sink_.text(line_) : line(line_);
  line_.clear();
  lineCut_ = false;
  return more;
}

// Passes on the beginning of a line so long that nothing left out here has such lines.
bool MailTextSink::cutLine() {
  if (!lineCut_ && unended_ && !sink_.text("\n")) return false;
  lineCut_ = true;
  unended_ = goesOn_ = false;
  within_ = Within::kText;
  const bool more = sink_.text(line_);
  line_.clear();
  return more;
}

bool MailTextSink::boundary(Break strength) { return finish() && sink_.boundary(strength); }

bool MailTextSink::finish() {
  if (!line_.empty() && !endLine()) return false;
  lineCut_ = false;
  goesOn_ = false;
  return !std::exchange(unended_, false) || sink_.text("\n");
}

bool MailTextSink::line(std::string_view line) {
  const std::string_view bare = bareLine(line);
  if (isNoise(bare)) return true;
  return flow_ == Flow::kFixed ? sink_.text(line) : flowedLine(bare);
}

bool MailTextSink::isNoise(std::string_view line) {
  if (within_ == Within::kArmour) {
    if (line.starts_with(kEnd)) within_ = Within::kText;
    if (line.starts_with(kEnd) || isArmour(line)) return true;
    within_ = Within::kText;
  } else if (within_ == Within::kUuencode) {
    if (line == "end") within_ = Within::kText;
    if (line == "end" || isUuencoded(line)) return true;
    within_ = Within::kText;
  }
  if (line.starts_with(kBegin) && line.find(kDashes, kBegin.size()) != npos) {
    // Its text follows the name of the hash and an empty line.
    if (line.find("SIGNED MESSAGE") == npos) within_ = Within::kArmour;
    clearSigned_ = within_ == Within::kText;
    return true;
  }
  if (std::exchange(clearSigned_, false) && line.starts_with("Hash: ")) return true;
  if (beginsUuencode(line)) within_ = Within::kUuencode;
  return within_ != Within::kText;
}

// "Version: ..." and the like, an empty line, base64 and its check sum, with or without the marks
// of a quotation.
bool MailTextSink::isArmour(std::string_view line) {
  while (line.starts_with('>') || line.starts_with(' ')) line.remove_prefix(1);
  if (line.find(' ') != npos) return fieldNameBytes(line) != 0;
  return line.find_first_not_of(
             "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/=") == npos;
}

bool MailTextSink::flowedLine(std::string_view line) {
  const size_t depth = std::min(line.find_first_not_of('>'), line.size());
  std::string_view content = line.substr(depth);
  if (content.starts_with(' ')) content.remove_prefix(1);
  const bool joins = goesOn_ && depth == quoteDepth_;
  goesOn_ = content.ends_with(' ') && content != "-- ";
  quoteDepth_ = depth;
  if (goesOn_ && flow_ == Flow::kDelSp) content.remove_suffix(1);
  if (!joins) {
    if (std::exchange(unended_, true) && !sink_.text("\n")) return false;
    if (depth != 0 && !(sink_.text(line.substr(0, depth)) && sink_.text(" "))) return false;
  }
  return content.empty() || sink_.text(content);
}

}  // namespace veska::unicode
