#include "analyzers/unicode/mailsource.h"

#include <algorithm>
#include <iterator>
#include <string>

#include "analyzers/unicode/charset.h"
#include "analyzers/unicode/kinds.h"
#include "analyzers/unicode/mailheader.h"
#include "analyzers/unicode/mailtext.h"
#include "analyzers/unicode/markupsources.h"
#include "analyzers/unicode/plaintext.h"

namespace veska::unicode {
namespace {

constexpr size_t kMostMultiparts = 32;  // one inside the other

bool isAnyOf(std::string_view word, std::initializer_list<std::string_view> list) {
  return std::find(list.begin(), list.end(), word) != list.end();
}

// Passes text on, and notices whether there is any.
class NoticingSink : public TextSink {
 public:
  explicit NoticingSink(TextSink& sink) : sink_(sink) {}

  bool text(std::string_view utf8) override {
    if (!noticed) noticed = utf8.find_first_not_of(" \t\r\n\xC2\xA0") != utf8.npos;
    return sink_.text(utf8);
  }
  bool boundary(Break strength) override { return sink_.boundary(strength); }

  bool noticed = false;

 private:
  TextSink& sink_;
};

// Reads one message.
class MessageReader {
 public:
  MessageReader(ByteInput& input, const SourceRequest& request, TextSink& sink)
      : stream_(input), request_(request), sink_(sink) {}

  Outcome deliver() {
    const MailHeader header = readMailHeader(stream_);
    if (!deliverHead(header)) return Outcome::kStopped;
    deliverPart(header, "text/plain", false);
    return outcome_;
  }

 private:
  struct Part {
    const MailHeader& header;
    std::string type;
    std::string name;
  };

  bool stopped() const { return outcome_ == Outcome::kStopped; }

  // Keeps the first thing that went wrong. Result: false when no more is wanted.
  bool note(Outcome outcome) {
    const bool worse =
        outcome == Outcome::kStopped || (outcome_ == Outcome::kDone && outcome != Outcome::kBinary);
    if (worse && !stopped()) outcome_ = outcome;
    return !stopped();
  }

  bool line(std::string_view text) {
    return text.empty() || (sink_.text(text) && sink_.boundary(Break::kLine));
  }

  bool deliverHead(const MailHeader& header) {
    const std::string charset = header.charset();
    std::string recipients = decodeHeaderText(header.recipients, charset, EncodedWords::kNames);
    if (!recipients.empty()) recipients.insert(0, "-> ");
    return sink_.boundary(Break::kParagraph) && line(decodeHeaderText(header.subject, charset)) &&
           line(decodeHeaderText(header.from, charset, EncodedWords::kNames)) && line(recipients) &&
           line(decodeHeaderText(header.date)) && sink_.boundary(Break::kParagraph);
  }

  // defaultType: of a part that tells none. othersOnly: its text is there in another form already,
  // what is attached is not.
  void deliverPart(const MailHeader& header, std::string_view defaultType, bool othersOnly) {
    Part part{header, StructuredField(header.contentType).value(), header.fileName()};
    if (part.type.find('/') == part.type.npos) part.type = defaultType;
    if (part.type.starts_with("multipart/")) {
      deliverMultipart(part, othersOnly);
    } else if (part.type == "message/rfc822" || part.type == "message/global") {
      deliverMessage(part);
    } else if (part.name.empty() && isText(part)) {
      if (!othersOnly) deliverText(part);
    } else if (isSealed(part)) {
      note(Outcome::kNeedsPassword);
    } else if (!isSignature(part.type)) {
      deliverAttachment(part);
    }
  }

  static bool isText(const Part& part) {
    return part.type.starts_with("text/") ||
           isAnyOf(part.type, {"message/delivery-status", "message/disposition-notification",
                               "message/partial", "message/external-body"});
  }

  static bool isSignature(std::string_view type) {
    return isAnyOf(type, {"application/pgp-signature", "application/pkcs7-signature",
                          "application/x-pkcs7-signature", "application/pgp-keys",
                          "application/pkcs7-mime", "application/x-pkcs7-mime"});
  }

  // (RFC 8551, section 3.2.2.)
  static bool isSealed(const Part& part) {
    if (!isAnyOf(part.type, {"application/pkcs7-mime", "application/x-pkcs7-mime"})) return false;
    const std::string kind = StructuredField(part.header.contentType).parameter("smime-type");
    return sameWord(kind, "enveloped-data") || sameWord(kind, "authEnveloped-data");
  }

  // Those of whose bytes no text comes. SVG is text.
  static bool isMedium(std::string_view type) {
    return type != "image/svg+xml" && (type.starts_with("image/") || type.starts_with("audio/") ||
                                       type.starts_with("video/") || type.starts_with("font/"));
  }

  void deliverMultipart(const Part& part, bool othersOnly) {
    const StructuredField type(part.header.contentType);
    std::string boundary = type.parameter("boundary");
    boundary.resize(boundary.find_last_not_of(" \t") + 1);
    if (part.type == "multipart/encrypted") {
      note(Outcome::kNeedsPassword);
    } else if (boundary.empty() || stream_.lacks(boundary)) {
      if (!othersOnly) deliverText(part);
    } else if (stream_.depth() >= kMostMultiparts) {
      note(Outcome::kLimited);
    } else {
      stream_.enter(std::move(boundary));
      stream_.skipPart();
      const bool digest = part.type == "multipart/digest";
      const std::string_view partType = digest ? "message/rfc822" : "text/plain";
      deliverParts(partType, part.type == "multipart/alternative", othersOnly);
      stream_.leave();
    }
    if (!stopped()) stream_.skipPart();
  }

  void deliverParts(std::string_view defaultType, bool alternative, bool othersOnly) {
    while (!stopped() && stream_.nextPart()) {
      const bool before = std::exchange(sink_.noticed, false);
      deliverPart(readMailHeader(stream_), defaultType, othersOnly);
      if (alternative && sink_.noticed) othersOnly = true;
      sink_.noticed = sink_.noticed || before;
      if (stopped() ||
          !note(sink_.boundary(Break::kParagraph) ? Outcome::kDone : Outcome::kStopped))
        return;
      stream_.skipPart();
    }
  }

  template <typename Reader>
  void readPart(const Part& part, Reader reader) {
    BodyInput raw(stream_);
    DecodedInput bytes(raw, transferEncodingNamed(part.header.transferEncoding));
    SourceRequest request = request_;
    const std::string charset = part.header.charset();
    request.charset = charset;
    request.name = part.name;
    note(reader(bytes, request));
  }

  void deliverMessage(const Part& part) {
    readPart(part, [this](ByteInput& bytes, const SourceRequest& request) {
      return deliverDocument(*kindNamed("mail"), bytes, request, sink_);
    });
  }

  void deliverText(const Part& part) {
    const StructuredField type(part.header.contentType);
    auto flow = MailTextSink::Flow::kFixed;
    if (sameWord(type.parameter("format"), "flowed")) {
      flow = sameWord(type.parameter("delsp"), "yes") ? MailTextSink::Flow::kDelSp
                                                      : MailTextSink::Flow::kFlowed;
    }
    readPart(part, [&](ByteInput& bytes, const SourceRequest& request) {
      if (part.type == "text/html") return makeHtmlSource()->deliver(bytes, request, sink_);
      MailTextSink text(sink_, flow);
      const Outcome outcome = makePlainTextSource()->deliver(bytes, request, text);
      return text.finish() ? outcome : Outcome::kStopped;
    });
  }

  void deliverAttachment(const Part& part) {
    if (!part.name.empty() && !(sink_.boundary(Break::kParagraph) && line(part.name))) {
      note(Outcome::kStopped);
      return;
    }
    if (isMedium(part.type)) return;
    readPart(part, [this](ByteInput& bytes, const SourceRequest& request) {
      MailTextSink text(sink_);
      const Outcome outcome = deliverDocument(bytes, request, text);
      return text.finish() ? outcome : Outcome::kStopped;
    });
  }

  MimeStream stream_;
  const SourceRequest& request_;
  NoticingSink sink_;
  Outcome outcome_ = Outcome::kDone;
};

class MailSource : public TextSource {
 public:
  Outcome deliver(ByteInput& input, const SourceRequest& request, TextSink& sink) override {
    return MessageReader(input, request, sink).deliver();
  }
};

}  // namespace

std::unique_ptr<TextSource> makeMailSource() { return std::make_unique<MailSource>(); }

bool isMail(std::string_view head) {
  constexpr std::string_view kTelling[] = {
      "from", "to",          "date",     "subject",      "message-id",  "received",
      "cc",   "return-path", "reply-to", "mime-version", "delivered-to"};
  constexpr int kWanted = 3;
  constexpr int kMostLines = 200;
  bool seen[std::size(kTelling)] = {};
  for (int count = 0; count < kMostLines && !head.empty(); ++count) {
    const size_t end = std::min(head.find('\n'), head.size());
    const std::string_view line = head.substr(0, end);
    head.remove_prefix(std::min(end + 1, head.size()));
    if (count != 0 && (line.starts_with(' ') || line.starts_with('\t'))) continue;
    const size_t nameBytes = fieldNameBytes(line);
    if (nameBytes == 0) break;
    for (size_t i = 0; i < std::size(kTelling); ++i)
      if (sameWord(line.substr(0, nameBytes), kTelling[i])) seen[i] = true;
  }
  const bool origin = seen[0] || seen[5] || seen[7];
  return origin && std::count(std::begin(seen), std::end(seen), true) >= kWanted;
}

}  // namespace veska::unicode
