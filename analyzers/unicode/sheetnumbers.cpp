#include "analyzers/unicode/sheetnumbers.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <unordered_map>

#include "analyzers/unicode/markup.h"

namespace veska::unicode {
namespace {

constexpr size_t kMostFormats = 65536;
constexpr int kMostDecimals = 15;  // all that a double is sure of

// Formats that every workbook has.
NumberFormat builtInFormat(unsigned id) {
  NumberFormat format;
  format.date = (id >= 14 && id <= 17) || id == 22 || (id >= 27 && id <= 31) || id == 36 ||
                (id >= 50 && id <= 58);
  format.time = (id >= 18 && id <= 22) || (id >= 32 && id <= 35) || (id >= 45 && id <= 47);
  format.elapsed = id == 46;
  format.percent = id == 9 || id == 10;
  if (id == 1 || id == 3 || id == 9 || id == 37 || id == 38) format.decimals = 0;
  if (id == 2 || id == 4 || id == 10 || id == 39 || id == 40) format.decimals = 2;
  return format;
}

unsigned numberOf(std::string_view attributes, std::string_view name) {
  const std::string text = attributeValue(Markup::kXml, attributes, name);
  unsigned value = 0;
  std::from_chars(text.data(), text.data() + text.size(), value);
  return value;
}

std::string showDate(double days, const NumberFormat& format, bool from1904) {
  constexpr double kLastDay = 2958466;  // 10000-01-01
  if (!(days >= 0 && days < kLastDay)) return {};
  constexpr int kMinutes = 24 * 60;
  const auto minutes = static_cast<int64_t>(std::floor(days * kMinutes + 0.5));
  int64_t day = minutes / kMinutes;
  const int64_t minute = format.elapsed && !format.date ? minutes : minutes % kMinutes;
  std::array<char, 64> text;
  int length = 0;
  if (format.date) {
    using namespace std::chrono;
    // Day 60 is 1900-02-29, which never was; the days in front of it count from one day later.
    if (!from1904 && day < 60) ++day;
    const sys_days epoch = from1904 ? sys_days(year(1904) / 1 / 1) : sys_days(year(1899) / 12 / 30);
    const year_month_day date(epoch + std::chrono::days(day));
    length =
        std::snprintf(text.data(), text.size(), "%04d-%02u-%02u", static_cast<int>(date.year()),
                      static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()));
  }
  if (format.time) {
    length += std::snprintf(text.data() + length, text.size() - static_cast<size_t>(length),
                            "%s%02d:%02d", length == 0 ? "" : " ", static_cast<int>(minute / 60),
                            static_cast<int>(minute % 60));
  }
  return {text.data(), static_cast<size_t>(length)};
}

// "[h]", "[mm]", ...: the first field of a duration.
bool isElapsed(std::string_view bracketed) {
  return !bracketed.empty() && bracketed.find_first_not_of(bracketed.front()) == bracketed.npos &&
         std::string_view("hHmMsS").find(bracketed.front()) != std::string_view::npos;
}

// The last byte of what begins at i and is no part of the format: quoted, escaped, a colour, ...
size_t endOfLiteral(std::string_view code, size_t i) {
  switch (code[i]) {
    case '"':
      return std::min(code.find('"', i + 1), code.size());
    case '[':
      return std::min(code.find(']', i + 1), code.size());
    case '\\':
    case '_':
    case '*':
      return i + 1;
    default:
      return i;
  }
}

}  // namespace

NumberFormat parseNumberFormat(std::string_view code) {
  NumberFormat format;
  bool point = false;
  bool digits = false;
  bool month = false;
  bool special = false;  // an exponent or a fraction, unless it is a date
  for (size_t i = 0; i < code.size() && code[i] != ';'; ++i) {
    if (const size_t end = endOfLiteral(code, i); end != i) {
      if (code[i] == '[' && isElapsed(code.substr(i + 1, end - i - 1)))
        format.time = format.elapsed = true;
      i = end;
      continue;
    }
    switch (code[i]) {
      case 'y':
      case 'Y':
      case 'd':
      case 'D':
        format.date = true;
        break;
      case 'h':
      case 'H':
      case 's':
      case 'S':
        format.time = true;
        break;
      case 'm':
      case 'M':
        month = true;
        break;
      case '%':
        format.percent = true;
        break;
      case '.':
        point = true;
        break;
      case 'E':
      case '/':
      case '?':
        special = true;
        break;
      case '0':
        digits = true;
        if (point && format.decimals < kMostDecimals)
          format.decimals = std::max(format.decimals, 0) + 1;
        break;
      default:
        break;
    }
  }
  format.date = format.date || (month && !format.time);
  if (special && !format.date && !format.time) return {};
  if (digits && !point) format.decimals = 0;
  return format;
}

std::string showNumber(std::string_view value, const NumberFormat& format, bool from1904) {
  double number = 0;
  const char* const end = value.data() + value.size();
  const auto parsed = std::from_chars(value.data(), end, number);
  if (parsed.ec != std::errc() || parsed.ptr != end || !std::isfinite(number))
    return std::string(value);
  if (format.date || format.time) {
    std::string date = showDate(number, format, from1904);
    if (!date.empty()) return date;
  }
  if (format.percent) number *= 100;
  constexpr double kMostFixed = 1e15;
  std::array<char, 64> text;
  const auto shown = format.decimals >= 0 && std::fabs(number) < kMostFixed
                         ? std::to_chars(text.data(), text.data() + text.size(), number,
                                         std::chars_format::fixed, format.decimals)
                         : std::to_chars(text.data(), text.data() + text.size(), number,
                                         std::chars_format::general, kMostDecimals);
  return std::string(text.data(), shown.ptr) + (format.percent ? "%" : "");
}

class StyleReader : public MarkupHandler {
 public:
  explicit StyleReader(CellFormats& formats) : formats_(formats) {}

  bool startTag(std::string_view name, std::string_view attributes, bool) override {
    name = localName(name);
    if (name == "numFmt" && own_.size() < kMostFormats) {
      own_[numberOf(attributes, "numFmtId")] =
          parseNumberFormat(attributeValue(Markup::kXml, attributes, "formatCode"));
    }
    if (name == "cellXfs") inCells_ = true;
    if (name == "xf" && inCells_) {
      const unsigned id = numberOf(attributes, "numFmtId");
      const auto own = own_.find(id);
      formats_.formats_.push_back(own == own_.end() ? builtInFormat(id) : own->second);
    }
    return formats_.formats_.size() < kMostFormats;
  }
  bool endTag(std::string_view name) override {
    if (localName(name) == "cellXfs") inCells_ = false;
    return true;
  }
  bool characters(std::string_view) override { return true; }

 private:
  CellFormats& formats_;
  std::unordered_map<unsigned, NumberFormat> own_;
  bool inCells_ = false;
};

void CellFormats::read(ByteInput& part) {
  StyleReader reader(*this);
  parseMarkup(Markup::kXml, part, {}, reader);
}

NumberFormat CellFormats::at(uint64_t style) const {
  return style < formats_.size() ? formats_[static_cast<size_t>(style)] : NumberFormat();
}

}  // namespace veska::unicode
