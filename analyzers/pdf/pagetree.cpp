#include "analyzers/pdf/pagetree.h"

#include <algorithm>

namespace veska::pdf {

PageTree::PageTree(Document& document) : document_(document) {
  // The root stands as the only kid of a node of its own.
  Array root;
  root.push_back(document.catalog()["Pages"]);
  path_.push_back({Object(std::move(root)), 0, Object(), Object()});
}

bool PageTree::next(Page& page) {
  if (!loose_) {
    if (nextInTree(page)) {
      anyPage_ = true;
      return true;
    }
    if (anyPage_) return false;
    loose_ = true;
    document_.repair();
  }
  return nextLoose(page);
}

bool PageTree::nextInTree(Page& page) {
  while (!path_.empty() && document_.budget().takeSteps(16)) {
    Node& parent = path_.back();
    const Array* const kids = parent.kids.array();
    if (!kids || parent.nextKid >= kids->size()) {
      path_.pop_back();
      continue;
    }
    const Object kid = (*kids)[parent.nextKid++];
    if (kid.reference() && !visited_.insert(kid.reference()->number).second) continue;
    const Object node = document_.resolve(kid);
    const Dictionary* const dictionary = node.dictionary();
    if (!dictionary) continue;
    Object resources = document_.get(*dictionary, "Resources");
    Object mediaBox = document_.get(*dictionary, "MediaBox");
    if (!resources.dictionary()) resources = parent.resources;
    if (!mediaBox.array()) mediaBox = parent.mediaBox;
    const Object children = document_.get(*dictionary, "Kids");
    if (!children.array()) {
      fill(page, *dictionary, resources, mediaBox);
      return true;
    }
    if (path_.size() < static_cast<size_t>(kMaxPageTreeDepth)) {
      path_.push_back({children, 0, resources, mediaBox});
    }
  }
  return false;
}

bool PageTree::nextLoose(Page& page) {
  while (nextLoose_ < document_.size() && document_.budget().takeSteps(16)) {
    const Object object = document_.load(nextLoose_++);
    const Dictionary* const dictionary = object.dictionary();
    if (!dictionary || !document_.get(*dictionary, "Type").isName("Page")) continue;
    fill(page, *dictionary, document_.get(*dictionary, "Resources"),
         document_.get(*dictionary, "MediaBox"));
    return true;
  }
  return false;
}

void PageTree::fill(Page& page, const Dictionary& dictionary, const Object& resources,
                    const Object& mediaBox) {
  page = Page();
  page.dictionary = dictionary;
  page.resources = resources;
  const Array* const box = mediaBox.array();
  if (!box || box->size() < 4) return;
  double corners[4];
  for (size_t i = 0; i < 4; ++i) corners[i] = document_.resolve((*box)[i]).number(0);
  const auto [left, right] = std::minmax(corners[0], corners[2]);
  const auto [bottom, top] = std::minmax(corners[1], corners[3]);
  if (right - left < 1 || top - bottom < 1) return;
  page.left = left;
  page.bottom = bottom;
  page.right = right;
  page.top = top;
}

}  // namespace veska::pdf
