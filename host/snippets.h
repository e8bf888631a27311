// The lines of a text that show best why a file was found.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/hits.h"

namespace veska {

struct Snippet {
  size_t line;       // number of the line in the display text, from 1
  std::string text;  // UTF-8, printable, blanks collapsed; cut ends are shown by an ellipsis
  std::vector<std::pair<size_t, size_t>> hits;  // [begin, end) in text, bytes
};

struct SnippetOptions {
  size_t lines = 3;    // at most
  size_t width = 160;  // columns of a line at most
};

// marks: of HitFinder::marks, for this text. The lines that hold most different words of the query,
// the first ones where they are equal, in the order of the text.
std::vector<Snippet> makeSnippets(std::string_view text, const std::vector<Mark>& marks,
                                  const SnippetOptions& options);

}  // namespace veska
