#include "tests/analyzers/shown.h"

#include <algorithm>

#include "analyzers/unicode/displaywriter.h"
#include "analyzers/unicode/kinds.h"

namespace veska::test {

using namespace veska::unicode;

std::string shown(const std::string& bytes, std::string_view name, std::string_view charset,
                  size_t block, size_t maxBytes, int lineWidth, Outcome* outcome) {
  size_t at = 0;
  StreamInput input([&](char* to, size_t wanted) {
    size_t done = 0;
    while (done < wanted && at < bytes.size()) {
      const size_t count = std::min({block, wanted - done, bytes.size() - at});
      bytes.copy(to + done, count, at);
      at += count;
      done += count;
    }
    return done;
  });
  SourceRequest request;
  request.name = name;
  request.charset = charset;
  DisplayWriter writer(maxBytes, lineWidth);
  const Outcome ended = deliverDocument(input, request, writer);
  if (outcome != nullptr) *outcome = ended;
  return std::string(writer.finish());
}

}  // namespace veska::test
