// The text of a document whose notes, comments and text boxes stand at their anchors, in the middle
// of a paragraph or a word. Such an aside is kept until the paragraph around it ends, so that it
// splits nothing.

#ifndef VESKA_ANALYZERS_UNICODE_STORYTEXT_H_
#define VESKA_ANALYZERS_UNICODE_STORYTEXT_H_

#include <cstddef>
#include <string>
#include <string_view>

#include "analyzers/unicode/flowtext.h"
#include "analyzers/unicode/textsource.h"

namespace veska::unicode {

// Results: false when the sink wants no more.
class StoryText {
 public:
  explicit StoryText(TextSink& sink) : sink_(sink), main_(sink, false), aside_(kept_, false) {}

  // Blanks collapse to one.
  bool add(std::string_view utf8);
  bool boundary(Break strength);

  // From here to the matching end stands an aside. They nest; the inner ones go into the outer one.
  bool beginAside();
  bool endAside();
  bool isAside() const { return asides_ != 0; }

  // The document ends: passes on all that is left.
  bool finish();

 private:
  // The text of asides as one text, breaks written out.
  class Keeper : public TextSink {
   public:
    bool text(std::string_view utf8) override;
    bool boundary(Break strength) override;
    std::string bytes;

   private:
    Break pending_ = Break::kWord;
    bool broken_ = false;
  };

  FlowText& current() { return asides_ == 0 ? main_ : aside_; }
  bool deliverAsides();

  TextSink& sink_;
  Keeper kept_;
  FlowText main_;
  FlowText aside_;
  size_t asides_ = 0;  // around the text that comes
};

}  // namespace veska::unicode

#endif  // VESKA_ANALYZERS_UNICODE_STORYTEXT_H_
