// The control words of RTF that bear on text.

#ifndef VESKA_ANALYZERS_UNICODE_RTFCONTROLS_H_
#define VESKA_ANALYZERS_UNICODE_RTFCONTROLS_H_

#include <cstdint>
#include <string_view>

namespace veska::unicode {

enum class RtfControl {
  kNone,         // without a bearing on text
  kCharacter,    // stands for the character value
  kBreak,        // stands for the Break value
  kSkipped,      // a destination without text
  kStory,        // a destination with text of its own: a header, a note, a text box
  kProperty,     // a destination with a property of the document
  kOuter,        // a destination whose own text is none, but some within it are
  kUnicodePair,  // \upr: the same text in bytes, then in Unicode as \*\ud
  kUnicodeText,
  kFontTable,
  kFont,
  kDefaultFont,
  kFontCharset,
  kFontCodePage,
  kCodePage,    // of the document: the parameter
  kCharacters,  // of the document: the code page value
  kPlain,
  kHidden,
  kUnicode,
  kFallbackLength,
  kBinary,
};

struct RtfWord {
  std::string_view name;
  RtfControl control;
  uint16_t value;
};

// What is known of a control word; kNone when nothing is.
RtfWord rtfWord(std::string_view name);

}  // namespace veska::unicode

#endif  // VESKA_ANALYZERS_UNICODE_RTFCONTROLS_H_
