// Text sources: how a document of any kind becomes one stream of text. A source reads the bytes of
// a document and pushes its text, as UTF-8 in reading order, into a sink; the tokenizer and the
// display writer are the two sinks of the engine. Nothing is lost or cut where a piece, a block or
// the file ends: sinks join the pieces.
//
// How a source is written:
//
//   class NotesSource : public TextSource {
//    public:
//     Outcome deliver(ByteInput& input, const SourceRequest& request, TextSink& sink) override;
//   };
//
// reads input to its end, or until the sink answers false, and then returns. It holds no more than
// a bounded piece of the document at a time where the format allows it, bounds every size, depth
// and count that it takes from the input, and throws nothing of its own.

#ifndef VESKA_ANALYZERS_UNICODE_TEXTSOURCE_H_
#define VESKA_ANALYZERS_UNICODE_TEXTSOURCE_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "analyzers/inputfile.h"

namespace veska::unicode {

// What lies between two pieces of text; a stronger one holds the weaker ones.
enum class Break {
  kWord,       // a blank: the end of a cell, an attachment's name, ...
  kLine,       // the end of a line
  kParagraph,  // the end of a paragraph, heading, page, table or message
};

// Takes the text of a document.
class TextSink {
 public:
  virtual ~TextSink() = default;

  // Takes the next piece, of any length. utf8: valid UTF-8, no character cut in two. A piece goes
  // on where the last one ended, within a word if need be. In it, blanks, tabs and other characters
  // that are no part of words separate words, a line feed ends a line, an empty line a paragraph.
  // Result: false when no more is wanted: return at once.
  virtual bool text(std::string_view utf8) = 0;

  // Sees to it that at least such a break stands here, before whatever text comes next. Several in
  // a row make one, as strong as the strongest. Result: as above.
  virtual bool boundary(Break strength) = 0;
};

// The bytes of a document, in order, and where possible at any place.
class ByteInput {
 public:
  virtual ~ByteInput() = default;

  // Reads on. Result: bytes read; fewer than asked for only at the end or when a read failed.
  virtual size_t read(char* to, size_t bytes) = 0;

  // Did reading fail, so that bytes are missing?
  virtual bool failed() const { return false; }

  // Can seek be called? If not, bytes come in order only and size is unknown.
  virtual bool isSeekable() const { return false; }
  virtual uint64_t size() const { return 0; }
  // The next read begins at offset; past the end it reads nothing.
  virtual void seek(uint64_t /*offset*/) {}
};

// The bytes of a file.
class FileInput : public ByteInput {
 public:
  explicit FileInput(const char* path) : file_(path) {}

  bool isOpen() const { return file_.isOpen(); }
  size_t read(char* to, size_t bytes) override { return file_.read(to, bytes); }
  bool failed() const override { return file_.failed(); }
  bool isSeekable() const override { return true; }
  uint64_t size() const override { return file_.size(); }
  void seek(uint64_t offset) override;

 private:
  InputFile file_;
};

// Bytes in memory, which outlive the object.
class MemoryInput : public ByteInput {
 public:
  explicit MemoryInput(std::string_view bytes) : bytes_(bytes) {}

  size_t read(char* to, size_t bytes) override;
  bool isSeekable() const override { return true; }
  uint64_t size() const override { return bytes_.size(); }
  void seek(uint64_t offset) override;

 private:
  std::string_view bytes_;
  size_t position_ = 0;
};

// Bytes that a function hands out: the member of an archive, a decoded part of a message, ...
class StreamInput : public ByteInput {
 public:
  // read: as ByteInput::read.
  explicit StreamInput(std::function<size_t(char* to, size_t bytes)> read)
      : read_(std::move(read)) {}

  size_t read(char* to, size_t bytes) override { return read_(to, bytes); }

 private:
  std::function<size_t(char* to, size_t bytes)> read_;
};

// An input whose first bytes were looked at and come again: the head of the document, then the
// rest.
class PeekedInput : public ByteInput {
 public:
  static constexpr size_t kHeadBytes = 65536;

  // Reads the head, or shares it with an input that is peeked already. input: outlives the object,
  // and stands at its beginning.
  explicit PeekedInput(ByteInput& input);

  // The document's first bytes: at most kHeadBytes, fewer only when it is no longer.
  std::string_view head() const { return head_; }

  size_t read(char* to, size_t bytes) override;
  bool failed() const override { return input_.failed(); }
  bool isSeekable() const override { return input_.isSeekable(); }
  uint64_t size() const override { return input_.size(); }
  void seek(uint64_t offset) override;

 private:
  ByteInput& input_;
  std::unique_ptr<char[]> own_;  // null where input has the same head
  std::string_view head_;
  size_t taken_ = 0;  // of the head
};

// What is known of a document from outside, and how much may be made of it.
struct SourceRequest {
  static constexpr int kMostDepth = 16;

  // Its name as people see it; the base name's extension helps to tell its kind. May be empty.
  std::string_view name;
  // The character set that was declared for it from outside (a MIME header, ...), empty for none.
  // It holds where the bytes themselves say nothing else.
  std::string_view charset;
  // Bytes that packed parts may expand to, for the whole document with all that it holds; 0: no
  // limit but the source's own.
  uint64_t maxExpanded = 0;
  // Counts what archives within the document expanded to so far; null: to be counted from here on.
  uint64_t* expanded = nullptr;
  // Bytes of the documents around this one that are held in memory.
  size_t inMemory = 0;
  // Documents around this one; deliverDocument (analyzers/unicode/kinds.h) counts it.
  int depth = 0;
};

// How the reading of a document ended. Whatever it was, the text that could be had was delivered.
enum class Outcome {
  kDone,
  kStopped,        // the sink wanted no more
  kLimited,        // a limit cut it short
  kDamaged,        // it is not what it should be, or not wholly
  kNeedsPassword,  // it is encrypted
  kBinary,         // no text: nothing was delivered
};

// Reads one document.
class TextSource {
 public:
  virtual ~TextSource() = default;

  // Pushes the text of the document into sink. input: stands at its beginning.
  virtual Outcome deliver(ByteInput& input, const SourceRequest& request, TextSink& sink) = 0;
};

}  // namespace veska::unicode

#endif  // VESKA_ANALYZERS_UNICODE_TEXTSOURCE_H_
