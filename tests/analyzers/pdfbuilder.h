// Makes small PDF files for the tests, sound ones and such as are damaged on purpose.
#ifndef VESKA_TESTS_ANALYZERS_PDFBUILDER_H_
#define VESKA_TESTS_ANALYZERS_PDFBUILDER_H_

#include <string>
#include <string_view>
#include <vector>

#include "tests/support/archives.h"

namespace veska::test {

// A stream object: entries of its dictionary without Length, and its bytes as they go into the
// file.
std::string streamObject(std::string_view entries, std::string_view bytes);

// Objects 1, 2, 3, ... of a document. Object 1 is the catalog, 2 the page tree.
class PdfBuilder {
 public:
  // Adds an object. Result: its number.
  int add(std::string object);

  // A document of one page: objects 1 catalog, 2 pages, 3 page, 4 contents, 5 the font /F
  // (Helvetica, WinAnsi). resources: further entries of the page's resources.
  static PdfBuilder page(std::string_view contents, std::string_view resources = "");

  std::string& object(int number) { return objects_[static_cast<size_t>(number - 1)]; }
  int count() const { return static_cast<int>(objects_.size()); }

  // The file with a classic cross-reference table. trailer: further entries.
  std::string build(std::string_view trailer = "") const;

  // The file with all objects but streams in an object stream, and a cross-reference stream.
  std::string buildCompressed() const;

 private:
  std::vector<std::string> objects_;
};

// The text of all pages, each ended by a form feed; "!" and a digit when the document does not
// open.
std::string extract(std::string_view file);

// The same for one page with the given contents, without the form feed.
std::string extractPage(std::string_view contents, std::string_view resources = "");

}  // namespace veska::test

#endif  // VESKA_TESTS_ANALYZERS_PDFBUILDER_H_
