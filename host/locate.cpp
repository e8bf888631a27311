#include "host/locate.h"

#include <fmt/format.h>

#include <charconv>
#include <filesystem>

#include "host/errors.h"
#include "host/filters.h"
#include "host/session.h"

namespace veska {
namespace {

// A place where the rest of a path, from `at` on, is to be found in a folder or archive.
struct Place {
  FileId parent;
  size_t at;
};

constexpr size_t kMostPlaces = 10000;

FileId lookupIn(const Reader& reader, const std::string& name, FileId parent) {
  CFileStorage* files = vidxGetFiles(reader.index());
  return engineCall(
      [&] { return static_cast<FileId>(vfsLookupFile(files, name.c_str(), parent)); });
}

// Whether `number` is where a record of the table begins.
bool isRecord(const Reader& reader, FileId number) {
  FileId file = reader.firstFile();
  while (file != 0 && file < number) file = reader.nextFile(file);
  return file != 0 && file == number;
}

std::optional<FileId> locateNumber(CVeskaIndex* index, const std::string& typed) {
  Reader reader(index);
  FileId number = 0;
  const char* end = typed.data() + typed.size();
  const auto [rest, error] = std::from_chars(typed.data(), end, number);
  if (error != std::errc() || rest != end) return std::nullopt;
  if (!isRecord(reader, number)) {
    fail(fmt::format("there is no record {} in the index, and no file of that name", typed),
         "take a number from: veska search --json");
  }
  if (!reader.isLive(number)) {
    fail(fmt::format("record {} is of a file that has vanished or changed since", typed),
         "search again");
  }
  return number;
}

}  // namespace

// Members have slashes in their names, as folders have: each slash may end a name. Places still to
// be tried wait on a stack; each stands for a record that exists, so there are few.
std::optional<FileId> locatePath(const Reader& reader, const std::string& path) {
  if (const FileId folder = lookupIn(reader, path, 0); folder != 0) return folder;
  std::vector<Place> places;
  for (size_t slash = path.find('/'); slash != std::string::npos;
       slash = path.find('/', slash + 1)) {
    const FileId folder = lookupIn(reader, slash == 0 ? "/" : path.substr(0, slash), 0);
    if (folder != 0) places.push_back({folder, slash + 1});
  }
  for (size_t tried = 0; !places.empty() && tried < kMostPlaces; ++tried) {
    const Place place = places.back();
    places.pop_back();
    const std::string rest = path.substr(place.at);
    if (const FileId file = lookupIn(reader, rest, place.parent); file != 0) return file;
    for (size_t slash = rest.find('/'); slash != std::string::npos;
         slash = rest.find('/', slash + 1)) {
      const FileId archive = lookupIn(reader, rest.substr(0, slash), place.parent);
      if (archive != 0) places.push_back({archive, place.at + slash + 1});
    }
  }
  return std::nullopt;
}

FileId locate(const Reader& reader, const std::string& typed) {
  for (const std::string& name : {typed, undoEscapes(typed)}) {
    std::error_code error;
    if (const auto file = locatePath(reader, absoluteFolder(name))) return *file;
    // A member's name may hold "..", which is no step up there.
    const std::filesystem::path asTyped = std::filesystem::absolute(name, error);
    if (const auto file = locatePath(reader, asTyped.string())) return *file;
    const std::filesystem::path real = std::filesystem::canonical(name, error);
    if (error) continue;
    if (const auto file = locatePath(reader, real.string())) return *file;
  }
  if (const auto file = locateNumber(reader.index(), typed)) return *file;
  std::error_code error;
  if (std::filesystem::exists(typed, error)) {
    fail(fmt::format("{} is not in the index", typed),
         "index its folder with: veska index FOLDER, or see the patterns with: veska config");
  }
  fail(fmt::format("there is no file {}, neither in the index nor on the disk", typed),
       "search prints the names to use; list them all with: veska files");
}

std::vector<FileId> membersOf(Reader& reader, FileId archive) {
  std::vector<FileId> members;
  for (FileId file = reader.nextFile(archive); file != 0; file = reader.nextFile(file)) {
    if (reader.record(file).parent == archive && reader.isLive(file)) members.push_back(file);
  }
  return members;
}

std::string undoEscapes(const std::string& printed) {
  std::string bytes;
  for (size_t at = 0; at < printed.size(); ++at) {
    if (printed[at] != '\\' || at + 1 == printed.size()) {
      bytes += printed[at];
      continue;
    }
    unsigned value = 0;
    const char kind = printed[at + 1];
    const char* digits = printed.data() + at + 2;
    if (kind == 'n' || kind == 't') {
      bytes += kind == 'n' ? '\n' : '\t';
      ++at;
    } else if (kind == 'x' && at + 3 < printed.size() &&
               std::from_chars(digits, digits + 2, value, 16).ptr == digits + 2) {
      bytes += static_cast<char>(value);
      at += 3;
    } else {
      bytes += '\\';
    }
  }
  return bytes;
}

}  // namespace veska
