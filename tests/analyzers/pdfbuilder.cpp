#include "tests/analyzers/pdfbuilder.h"

#include "analyzers/pdf/extractor.h"
#include "analyzers/pdf/unicode.h"

namespace veska::test {
namespace {

void appendBigEndian(std::string& out, size_t value, int bytes) {
  for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8) {
    out += static_cast<char>(value >> shift & 0xFF);
  }
}

}  // namespace

std::string streamObject(std::string_view entries, std::string_view bytes) {
  std::string out = "<<";
  out += entries;
  out += "/Length " + std::to_string(bytes.size()) + ">>\nstream\n";
  out += bytes;
  return out + "\nendstream";
}

int PdfBuilder::add(std::string object) {
  objects_.push_back(std::move(object));
  return count();
}

PdfBuilder PdfBuilder::page(std::string_view contents, std::string_view resources) {
  PdfBuilder builder;
  builder.add("<</Type/Catalog/Pages 2 0 R>>");
  builder.add("<</Type/Pages/Kids[3 0 R]/Count 1/MediaBox[0 0 600 800]>>");
  builder.add("<</Type/Page/Parent 2 0 R/Contents 4 0 R/Resources<</Font<</F 5 0 R>>" +
              std::string(resources) + ">>>>");
  builder.add(streamObject("", contents));
  builder.add("<</Type/Font/Subtype/Type1/BaseFont/Helvetica/Encoding/WinAnsiEncoding>>");
  return builder;
}

std::string PdfBuilder::build(std::string_view trailer) const {
  std::string out = "%PDF-1.4\n";
  std::string table;
  for (int i = 1; i <= count(); ++i) {
    std::string offset = std::to_string(out.size());
    table += std::string(10 - offset.size(), '0') + offset + " 00000 n \n";
    out += std::to_string(i) + " 0 obj\n" + objects_[static_cast<size_t>(i - 1)] + "\nendobj\n";
  }
  const std::string start = std::to_string(out.size());
  const std::string size = std::to_string(count() + 1);
  out += "xref\n0 " + size + "\n0000000000 65535 f \n" + table + "trailer\n<</Root 1 0 R/Size " +
         size + std::string(trailer) + ">>\nstartxref\n" + start + "\n%%EOF\n";
  return out;
}

std::string PdfBuilder::buildCompressed() const {
  std::string out = "%PDF-1.5\n", header, body, table;
  const int container = count() + 1;
  int packed = 0;
  std::string rows[2];
  appendBigEndian(rows[0], 0, 5);
  for (int i = 1; i <= count(); ++i) {
    const std::string& object = objects_[static_cast<size_t>(i - 1)];
    if (object.find("stream\n") != std::string::npos) {
      rows[0] += '\1';
      appendBigEndian(rows[0], out.size(), 3);
      rows[0] += '\0';
      out += std::to_string(i) + " 0 obj\n" + object + "\nendobj\n";
    } else {
      rows[0] += '\2';
      appendBigEndian(rows[0], static_cast<size_t>(container), 3);
      rows[0] += static_cast<char>(packed++);
      header += std::to_string(i) + " " + std::to_string(body.size()) + " ";
      body += object + " ";
    }
  }
  const size_t containerAt = out.size();
  out += std::to_string(container) + " 0 obj\n" +
         streamObject("/Type/ObjStm/Filter/FlateDecode/N " + std::to_string(packed) + "/First " +
                          std::to_string(header.size()),
                      deflated(header + body)) +
         "\nendobj\n";
  const size_t tableAt = out.size();
  for (const size_t at : {containerAt, tableAt}) {
    rows[0] += '\1';
    appendBigEndian(rows[0], at, 3);
    rows[0] += '\0';
  }
  // Each row as the difference from the row above: PNG's "up".
  for (size_t i = 0; i < rows[0].size(); ++i) {
    if (i % 5 == 0) rows[1] += '\2';
    rows[1] += static_cast<char>(rows[0][i] - (i >= 5 ? rows[0][i - 5] : 0));
  }
  out += std::to_string(container + 1) + " 0 obj\n" +
         streamObject(
             "/Type/XRef/W[1 3 1]/Root 1 0 R/Filter/FlateDecode/DecodeParms<</Predictor "
             "12/Columns 5>>/Size " +
                 std::to_string(container + 2),
             deflated(rows[1])) +
         "\nendobj\nstartxref\n" + std::to_string(tableAt) + "\n%%EOF\n";
  return out;
}

std::string extract(std::string_view file) {
  pdf::TextExtractor extractor;
  const pdf::TextExtractor::State state = extractor.openBytes(file);
  if (state != pdf::TextExtractor::State::kReady)
    return "!" + std::to_string(static_cast<int>(state));
  std::u32string page;
  std::string text;
  while (extractor.nextPage(page)) {
    pdf::appendWindows1252(page, text);
    text += '\f';
  }
  return text;
}

std::string extractPage(std::string_view contents, std::string_view resources) {
  std::string text = extract(PdfBuilder::page(contents, resources).build());
  if (!text.empty()) text.pop_back();
  return text;
}

}  // namespace veska::test
