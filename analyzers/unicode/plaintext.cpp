#include "analyzers/unicode/plaintext.h"

#include <string>
#include <string_view>

#include "analyzers/unicode/charset.h"

namespace veska::unicode {
namespace {

class PlainTextSource : public TextSource {
 public:
  // charset: what the bytes are in; empty: to be found out.
  explicit PlainTextSource(std::string_view charset) : charset_(charset) {}

  Outcome deliver(ByteInput& input, const SourceRequest& request, TextSink& sink) override {
    PeekedInput peeked(input);
    if (looksBinary(peeked.head())) return Outcome::kBinary;
    if (!charset_.empty()) return deliverDecoded(peeked, charset_, sink);
    size_t mark = 0;
    const std::string charset = chooseCharset(peeked.head(), request.charset, &mark);
    char skipped[4];
    peeked.read(skipped, mark);
    return deliverDecoded(peeked, charset, sink);
  }

 private:
  std::string_view charset_;
};

}  // namespace

std::unique_ptr<TextSource> makePlainTextSource() {
  return std::make_unique<PlainTextSource>(std::string_view());
}

std::unique_ptr<TextSource> makeMacRomanSource() {
  return std::make_unique<PlainTextSource>("macroman");
}

std::unique_ptr<TextSource> makeDosSource() { return std::make_unique<PlainTextSource>("dosoem"); }

}  // namespace veska::unicode
