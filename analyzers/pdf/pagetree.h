// The pages of a document in their order (ISO 32000-1, 7.7.3), with what they inherit.

#ifndef VESKA_ANALYZERS_PDF_PAGETREE_H_
#define VESKA_ANALYZERS_PDF_PAGETREE_H_

#include <unordered_set>
#include <vector>

#include "analyzers/pdf/document.h"

namespace veska::pdf {

struct Page {
  Dictionary dictionary;
  Object resources;                                     // a dictionary, or null
  double left = 0, bottom = 0, right = 612, top = 792;  // media box, in the page's own units
};

class PageTree {
 public:
  explicit PageTree(Document& document);

  // Moves on to the next page. Result: false when there is none. No node of the tree is visited
  // twice. When the tree has no page at all, those that lie about in the document count.
  bool next(Page& page);

 private:
  struct Node {
    Object kids;
    size_t nextKid = 0;
    Object resources, mediaBox;
  };

  bool nextInTree(Page& page);
  bool nextLoose(Page& page);
  void fill(Page& page, const Dictionary& dictionary, const Object& resources,
            const Object& mediaBox);

  Document& document_;
  std::vector<Node> path_;
  std::unordered_set<uint32_t> visited_;
  bool anyPage_ = false;
  bool loose_ = false;
  uint32_t nextLoose_ = 0;
};

}  // namespace veska::pdf

#endif  // VESKA_ANALYZERS_PDF_PAGETREE_H_
