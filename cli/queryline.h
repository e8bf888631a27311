// The part that search and show share: a query given as arguments of a command line.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "host/catalog.h"
#include "host/query.h"

namespace veska {

// Lets -word be an argument rather than options -w -o -r -d: what begins with one hyphen and is
// longer than an option of one letter is marked by a blank before it. flags: the letters of the
// command's options without a value, which may stand together (-l0); valued: those with a value,
// which may be followed by a number (-n5). What follows "--" stays.
void protectExclusions(std::vector<std::string>& arguments, std::string_view flags,
                       std::string_view valued);

// The arguments with blanks between them, as UTF-8.
std::string joinQuery(const std::vector<std::string>& arguments);

// Fails with an explanation that points at the place. text: cut as the catalog's index is.
// allWords: those that the index cannot hold count too.
Query parseQueryLine(const std::string& text, Catalog& catalog, bool allWords);

}  // namespace veska
