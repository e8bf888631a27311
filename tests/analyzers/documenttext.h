// What the text pipeline reads in a document made by a test.
#pragma once

#include <string>
#include <string_view>

#include "analyzers/unicode/displaywriter.h"
#include "analyzers/unicode/kinds.h"

namespace veska::test {

struct DocumentText {
  std::string text;  // as it is shown, unwrapped
  unicode::Outcome outcome;
};

// name: tells the kind by its extension; without one the content tells it.
inline DocumentText readDocument(const std::string& bytes, std::string_view name,
                                 uint64_t maxExpanded = 0) {
  unicode::MemoryInput input(bytes);
  unicode::SourceRequest request;
  request.name = name;
  request.maxExpanded = maxExpanded;
  unicode::DisplayWriter writer(1 << 24, 0);
  const unicode::Outcome outcome = unicode::deliverDocument(input, request, writer);
  return {std::string(writer.finish()), outcome};
}

}  // namespace veska::test
