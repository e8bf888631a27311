// From what somebody types to a record of the index: a path, an archive member as a search prints
// it, or a record number.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/reader.h"

namespace veska {

// path: absolute, without "." and "..": FOLDER/FILE or FOLDER/ARCHIVE/MEMBER/... Result: a live
// record, which may be a folder.
std::optional<FileId> locatePath(const Reader& reader, const std::string& path);

// As typed: tried as a path (relative ones from the current folder, then with symbolic links
// resolved), with the escapes of printed names undone, and as a record number. Fails when nothing
// fits.
FileId locate(const Reader& reader, const std::string& typed);

// The live members directly in an archive, in the order in which they were indexed.
std::vector<FileId> membersOf(Reader& reader, FileId archive);

// A printed name back to its bytes: \n, \t and \xHH.
std::string undoEscapes(const std::string& printed);

}  // namespace veska
