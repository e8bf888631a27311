// Dates of messages: "Mon, 15 Nov 2026 09:18:45 +0100 (CET)", and what older programs write:
// "Mon Nov 15 09:18:45 2026", years of two digits, names of zones.

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <ctime>

#include "analyzers/unicode/mailheader.h"

namespace veska::unicode {
namespace {

constexpr auto npos = std::string_view::npos;

struct Zone {
  std::string_view name;
  int hours;
};
constexpr Zone kZones[] = {{"EST", -5}, {"EDT", -4}, {"CST", -6}, {"CDT", -5},
                           {"MST", -7}, {"MDT", -6}, {"PST", -8}, {"PDT", -7}};

// The number that text is; -1 when it is none.
int numberOf(std::string_view text) {
  int value = -1;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc() && end == text.data() + text.size() && value >= 0 ? value : -1;
}

int monthOf(std::string_view word) {
  constexpr std::string_view kMonths[] = {"jan", "feb", "mar", "apr", "may", "jun",
                                          "jul", "aug", "sep", "oct", "nov", "dec"};
  for (int month = 0; month < 12; ++month)
    if (word.size() >= 3 && sameWord(word.substr(0, 3), kMonths[month])) return month;
  return -1;
}

int yearOf(int number) {
  if (number < 50) return number + 2000;
  return number < 1000 ? number + 1900 : number;
}

class DateReader {
 public:
  void take(std::string_view word) {
    if (word.find(':') != npos)
      takeTime(word);
    else if (const int month = monthOf(word); month >= 0 && date_.tm_mon < 0)
      date_.tm_mon = month;
    else if (word.front() == '+' || word.front() == '-')
      takeOffset(word);
    else if (const int number = numberOf(word); number >= 0)
      takeNumber(number, word.size());
    else
      takeZone(word);
  }

  std::optional<MailDate> finish() {
    if (date_.tm_mon < 0 || date_.tm_mday < 1 || date_.tm_mday > 31 || year_ < 1900 ||
        year_ > 9999 || date_.tm_hour > 23 || date_.tm_min > 59 || date_.tm_sec > 60)
      return {};
    date_.tm_year = year_ - 1900;
    char text[64];
    std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d", year_, date_.tm_mon + 1,
                  date_.tm_mday, date_.tm_hour, date_.tm_min, date_.tm_sec);
    return MailDate{timegm(&date_) - offset_, text};
  }

 private:
  void takeTime(std::string_view word) {
    int* const fields[] = {&date_.tm_hour, &date_.tm_min, &date_.tm_sec};
    for (int* const field : fields) {
      const size_t end = std::min(word.find(':'), word.size());
      *field = std::max(numberOf(word.substr(0, end)), 0);
      word.remove_prefix(std::min(end + 1, word.size()));
    }
  }

  void takeNumber(int number, size_t digits) {
    if (digits <= 2 && date_.tm_mday == 0)
      date_.tm_mday = number;
    else if (year_ == 0)
      year_ = yearOf(number);
  }

  void takeOffset(std::string_view word) {
    const int number = numberOf(word.substr(1));
    if (number < 0 || number > 2400) return;
    offset_ = (number / 100 * 60 + number % 100) * 60 * (word.front() == '-' ? -1 : 1);
  }

  void takeZone(std::string_view word) {
    for (const Zone& zone : kZones)
      if (sameWord(word, zone.name)) offset_ = zone.hours * 3600;
  }

  struct tm date_ = [] {
    struct tm none = {};
    none.tm_mon = -1;
    return none;
  }();
  int year_ = 0;
  int offset_ = 0;  // seconds east of universal time
};

}  // namespace

std::optional<MailDate> parseMailDate(std::string_view text) {
  constexpr size_t kLongest = 200;
  constexpr std::string_view kSeparators = " \t\r\n,";
  text = text.substr(0, std::min(text.find('('), kLongest));
  DateReader date;
  while (true) {
    const size_t begin = text.find_first_not_of(kSeparators);
    if (begin == npos) return date.finish();
    text.remove_prefix(begin);
    const size_t end = std::min(text.find_first_of(kSeparators), text.size());
    date.take(text.substr(0, end));
    text.remove_prefix(end);
  }
}

}  // namespace veska::unicode
