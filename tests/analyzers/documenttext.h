// What the text pipeline of the Unicode mode reads in a document made by a test.
#pragma once

#include <string>
#include <string_view>

#include "analyzers/unicode/displaywriter.h"
#include "analyzers/unicode/kinds.h"

namespace veska::test {

struct DocumentText {
  std::string text;  // as it is shown
  unicode::Outcome outcome;
};

struct HowToRead {
  std::string_view charset = {};
  uint64_t maxExpanded = 0;
  size_t maxBytes = 1 << 24;
  int lineWidth = 0;
};

inline DocumentText readInput(unicode::ByteInput& input, std::string_view name,
                              const HowToRead& how) {
  unicode::SourceRequest request;
  request.name = name;
  request.charset = how.charset;
  request.maxExpanded = how.maxExpanded;
  unicode::DisplayWriter writer(how.maxBytes, how.lineWidth);
  const unicode::Outcome outcome = unicode::deliverDocument(input, request, writer);
  return {std::string(writer.finish()), outcome};
}

// name: tells the kind by its extension; without one the content tells it.
inline DocumentText readDocument(const std::string& bytes, std::string_view name,
                                 const HowToRead& how = {}) {
  unicode::MemoryInput input(bytes);
  return readInput(input, name, how);
}

// The same from a stream, as members of archives and attachments of messages come.
inline DocumentText readStream(const std::string& bytes, std::string_view name,
                               const HowToRead& how = {}) {
  size_t at = 0;
  unicode::StreamInput input([&](char* to, size_t wanted) {
    const size_t count = bytes.copy(to, wanted, at);
    at += count;
    return count;
  });
  return readInput(input, name, how);
}

// The text alone.
inline std::string shown(const std::string& bytes, std::string_view name,
                         const HowToRead& how = {}) {
  return readStream(bytes, name, how).text;
}

}  // namespace veska::test
