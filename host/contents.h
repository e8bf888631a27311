// The display text of one indexed file, read anew from the file itself.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "host/errors.h"
#include "host/reader.h"
#include "host/session.h"

namespace veska {

struct TextOptions {
  uint32_t maxBytes = 1u << 20;
  int lineWidth = 0;          // 0: lines are not wrapped
  bool withoutMarkup = true;  // leave out the tags of HTML
};

class Contents {
 public:
  // REQUIRES: session.applySettings(). Result: nothing when the text cannot be had; `why` is then
  // what the engine reported. Opening and reading a text is one step: errors come here only.
  static std::optional<Contents> open(Session& session, FileId file, const TextOptions& options,
                                      Report* why);

  // In whatever characters the document uses. Belongs to this object.
  std::string_view text() const { return text_; }
  // Whether the text was cut at maxBytes.
  bool cut() const { return cut_; }

 private:
  struct Deleter {
    void operator()(CFileContents* contents) const { vfcDeleteContentsObject(contents); }
  };

  std::unique_ptr<CFileContents, Deleter> contents_;
  std::string_view text_;
  bool cut_ = false;
};

}  // namespace veska
