#include "host/filters.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <filesystem>
#include <string_view>

namespace veska {
namespace {

bool liesIn(std::string_view path, std::string_view folder) {
  if (folder == "/") return true;
  return path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == '/');
}

// Archive members are named by their path in the archive; the pattern is for the last part.
const char* baseName(const char* name) {
  const std::string_view text = name;
  const size_t slash = text.find_last_of('/');
  return slash == std::string_view::npos || slash + 1 == text.size() ? name : name + slash + 1;
}

std::optional<std::time_t> parseDate(const std::string& text) {
  std::tm date{};
  int end = 0;
  if (std::sscanf(text.c_str(), "%4d-%2d-%2d%n", &date.tm_year, &date.tm_mon, &date.tm_mday, &end) <
          3 ||
      static_cast<size_t>(end) != text.size()) {
    return std::nullopt;
  }
  date.tm_year -= 1900;
  date.tm_mon -= 1;
  date.tm_isdst = -1;
  const std::tm asked = date;
  const std::time_t moment = std::mktime(&date);
  const bool exists =
      date.tm_year == asked.tm_year && date.tm_mon == asked.tm_mon && date.tm_mday == asked.tm_mday;
  return exists ? std::optional(moment) : std::nullopt;
}

std::optional<std::time_t> parseAge(const std::string& text, std::time_t now) {
  struct Unit {
    std::string_view name;
    std::time_t seconds;
  };
  constexpr std::time_t kDay = 86400;
  constexpr std::array<Unit, 6> kUnits = {
      {{"m", 60}, {"h", 3600}, {"d", kDay}, {"w", 7 * kDay}, {"mo", 30 * kDay}, {"y", 365 * kDay}}};
  unsigned count = 0;
  const char* end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, count);
  if (error != std::errc() || count > 100000) return std::nullopt;
  const std::string_view name(rest, static_cast<size_t>(end - rest));
  const auto* unit = std::find_if(kUnits.begin(), kUnits.end(),
                                  [name](const Unit& known) { return known.name == name; });
  if (unit == kUnits.end()) return std::nullopt;
  return now - static_cast<std::time_t>(count) * unit->seconds;
}

}  // namespace

bool FilterPass::accepts(FileId file) {
  const FileRecord record = reader_.record(file);
  if (filter_.newer && record.time < *filter_.newer) return false;
  if (filter_.older && record.time >= *filter_.older) return false;
  if (!filter_.name.empty() && !vFileNameMatch(baseName(record.name), filter_.name.c_str())) {
    return false;
  }
  return filter_.folders.empty() || parentAccepted(record.parent);
}

bool FilterPass::parentAccepted(FileId parent) {
  const auto known = parents_.find(parent);
  if (known != parents_.end()) return known->second;
  const std::string_view folder = reader_.record(reader_.folderOf(parent)).name;
  const bool accepted =
      std::any_of(filter_.folders.begin(), filter_.folders.end(),
                  [&](const std::string& wanted) { return liesIn(folder, wanted); });
  parents_.emplace(parent, accepted);
  return accepted;
}

std::optional<std::time_t> parseMoment(const std::string& text, std::time_t now) {
  const std::optional<std::time_t> date = parseDate(text);
  return date ? date : parseAge(text, now);
}

std::string absoluteFolder(const std::string& path) {
  std::error_code error;
  std::string absolute = std::filesystem::absolute(path, error).lexically_normal().string();
  while (absolute.size() > 1 && absolute.ends_with('/')) absolute.pop_back();
  return absolute;
}

}  // namespace veska
