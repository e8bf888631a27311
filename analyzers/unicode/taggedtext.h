// The text of an XML part as a table of its elements says: which hold text, which separate it,
// which are notes, which are to be left out.

#ifndef VESKA_ANALYZERS_UNICODE_TAGGEDTEXT_H_
#define VESKA_ANALYZERS_UNICODE_TAGGEDTEXT_H_

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "analyzers/unicode/markup.h"
#include "analyzers/unicode/storytext.h"
#include "analyzers/unicode/textsource.h"

namespace veska::unicode {

// What an element means, joined by "|".
enum TagRole : unsigned {
  kTagText = 1,    // the character data in it is text
  kTagHidden = 2,  // all that is in it is left out
  kTagAside = 4,   // a note, comment or text box at its anchor; only text elements in it are text
  kTagBreak = 8,   // a break stands before and after it
  kTagMark = 16,   // a break stands before it
  kTagCell = 32,   // the cell of a table, kept apart from the others by blanks
  kTagParagraph = 64,  // a paragraph; in a cell, a line
};

struct TextTag {
  std::string_view name;  // without its prefix
  unsigned roles;
  Break strength = Break::kWord;  // of kTagBreak and kTagMark
};

// Results: false when the sink wants no more.
class TaggedText : public MarkupHandler {
 public:
  // tags: sorted by name; outlives the object. Elements that it does not name are inline.
  TaggedText(std::span<const TextTag> tags, TextSink& sink) : tags_(tags), story_(sink) {}

  // Reads a part.
  bool read(ByteInput& part, std::string_view charset = {});

  bool startTag(std::string_view name, std::string_view attributes, bool empty) final;
  bool endTag(std::string_view name) final;
  bool characters(std::string_view utf8) final;

 protected:
  // Called for every element that is not left out, before what the table says of it is done. name:
  // without its prefix.
  virtual bool opened(std::string_view /*name*/, std::string_view /*attributes*/, bool /*empty*/) {
    return true;
  }
  // The same, after that is done.
  virtual bool closed(std::string_view /*name*/) { return true; }

  StoryText& story() { return story_; }
  // From here on this table holds.
  void useTags(std::span<const TextTag> tags) { tags_ = tags; }
  // Leaves out the element whose start tag is being told.
  void hide() { hideNext_ = true; }
  // Does character data count, and as what? Text by default.
  bool isText() const { return textDepth_ != 0; }
  virtual bool take(std::string_view utf8) { return story_.add(utf8); }

 private:
  const TextTag* find(std::string_view name) const;
  bool begin(const TextTag& tag, bool empty);
  bool end(const TextTag& tag);
  bool beginParagraph(bool empty);
  bool beginAside();
  bool endAside();

  std::span<const TextTag> tags_;
  StoryText story_;
  size_t textDepth_ = 0;            // text elements around us, up to the nearest aside
  std::vector<size_t> textDepths_;  // outside of each aside
  size_t deeperAsides_ = 0;         // beyond the bound of those
  size_t cells_ = 0;                // around us
  size_t paragraphsInCell_ = 0;
  std::string hidden_;      // the element that is left out
  size_t hiddenDepth_ = 0;  // elements of its name around us
  bool hideNext_ = false;
};

// What the elements of a document's properties mean: title, author, subject and keywords are text.
std::span<const TextTag> propertyTags();

// Those out of a part with the properties.
bool deliverProperties(ByteInput& part, TextSink& sink);

}  // namespace veska::unicode

#endif  // VESKA_ANALYZERS_UNICODE_TAGGEDTEXT_H_
