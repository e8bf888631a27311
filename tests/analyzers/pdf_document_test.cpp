// Files as a whole: every way in which objects are found, and what is done when they are not.

#include <gtest/gtest.h>

#include "tests/analyzers/pdfbuilder.h"

namespace veska::test {
namespace {

const char kHello[] = "BT /F 10 Tf 50 700 Td (Hello world) Tj ET";
const char kExpected[] = "Hello world\n\f";

std::string replaced(std::string text, std::string_view from, std::string_view to) {
  const size_t at = text.rfind(from);
  EXPECT_NE(at, std::string::npos) << from;
  return text.replace(at, from.size(), to);
}

TEST(PdfDocument, SoundFilesOpen) {
  const PdfBuilder builder = PdfBuilder::page(kHello);
  EXPECT_EQ(extract(builder.build()), kExpected);
  EXPECT_EQ(extract(builder.buildCompressed()), kExpected);
  EXPECT_EQ(extract("mail header\r\n" + builder.build()), kExpected) << "offsets from the header";
}

TEST(PdfDocument, HybridFilesUseBothTables) {
  // Object 3 is free in the classic table, and in its place by the stream that XRefStm names.
  std::string file = PdfBuilder::page(kHello).build();
  const size_t table = file.rfind("xref\n0");
  const size_t entry = table + 9 + 3 * 20;
  const int place = std::stoi(file.substr(entry, 10));
  file.replace(entry, 20, "0000000000 00000 f \n");
  const std::string row = {1, static_cast<char>(place >> 8), static_cast<char>(place & 0xFF)};
  const std::string stream =
      "9 0 obj\n" + streamObject("/Type/XRef/W[1 2 0]/Index[3 1]/Size 6", row) + "\nendobj\n";
  file.insert(table, stream);
  file = replaced(file, "/Size 6>>", "/Size 6/XRefStm " + std::to_string(table) + ">>");
  file = replaced(file, "startxref\n" + std::to_string(table),
                  "startxref\n" + std::to_string(table + stream.size()));
  EXPECT_EQ(extract(file), kExpected);
}

TEST(PdfDocument, TheNewestRevisionHolds) {
  std::string file = PdfBuilder::page(kHello).build();
  const size_t previous = file.rfind("xref\n0");
  const size_t object = file.size();
  file +=
      "4 0 obj\n" + streamObject("", "BT /F 10 Tf 50 700 Td (Second version) Tj ET") + "\nendobj\n";
  const size_t table = file.size();
  std::string offset = std::to_string(object);
  file += "xref\n4 1\n" + std::string(10 - offset.size(), '0') + offset +
          " 00000 n \ntrailer\n<</Root 1 0 R/Size 6/Prev " + std::to_string(previous) +
          ">>\nstartxref\n" + std::to_string(table) + "\n%%EOF\n";
  EXPECT_EQ(extract(file), "Second version\n\f");
  EXPECT_EQ(extract(replaced(file, std::to_string(table), "1")), "Second version\n\f")
      << "repaired, the last object with a number holds";
}

TEST(PdfDocument, LoopsEnd) {
  std::string file = PdfBuilder::page(kHello).build();
  const std::string start = std::to_string(file.rfind("xref\n0"));
  EXPECT_EQ(extract(replaced(file, "/Size 6", "/Size 6/Prev " + start)), kExpected);

  PdfBuilder builder = PdfBuilder::page(kHello);
  builder.object(2) = "<</Type/Pages/Kids[2 0 R 3 0 R 3 0 R[2 0 R]]/MediaBox[0 0 600 800]>>";
  EXPECT_EQ(extract(builder.build()), kExpected) << "each node once";

  builder = PdfBuilder::page("/X Do /X Do", "/XObject<</X 6 0 R>>");
  builder.add(
      streamObject("/Type/XObject/Subtype/Form/Resources<</Font<</F 5 0 R>>/XObject<</X 6 0 R>>>>",
                   std::string(kHello) + " /X Do"));
  EXPECT_EQ(extract(builder.build()), kExpected) << "drawn twice in one place, shown once";

  builder = PdfBuilder::page(kHello);
  builder.object(4) = "<</Length 6 0 R>>stream\n" + std::string(kHello) + "\nendstream";
  builder.add("6 0 R");
  EXPECT_EQ(extract(builder.build()), kExpected);
}

TEST(PdfDocument, DamagedFilesAreRepaired) {
  const PdfBuilder builder = PdfBuilder::page(kHello);
  const std::string classic = builder.build(), compressed = builder.buildCompressed();
  const size_t table = classic.rfind("xref\n0");
  EXPECT_EQ(extract(classic.substr(0, table)), kExpected) << "no table at all";
  EXPECT_EQ(extract(replaced(classic, "startxref", "startxxxx")), kExpected);
  EXPECT_EQ(extract(replaced(classic, "/Root 1 0 R", "/Root 9 0 R")), kExpected);
  EXPECT_EQ(extract(replaced(classic, "/Pages 2 0 R", "/Pages 9 0 R")), "!2");
  EXPECT_EQ(extract(replaced(compressed, "startxref", "startxxxx")), kExpected);
  std::string shifted = classic;
  shifted.insert(9, "%a comment that moves every object\n");
  EXPECT_EQ(extract(shifted), kExpected);
  PdfBuilder wrongLength = builder;
  for (const char* length : {"/Length 3", "/Length 99999", "/Length -1", "/Length(x)", ""}) {
    wrongLength.object(4) =
        "<<" + std::string(length) + ">>stream\n" + std::string(kHello) + "\nendstream";
    EXPECT_EQ(extract(wrongLength.build()), kExpected) << length;
  }
}

TEST(PdfDocument, TruncatedFilesGiveThePagesThatAreThere) {
  PdfBuilder builder = PdfBuilder::page(kHello);
  const std::string file = builder.build();
  for (size_t length = 0; length < file.size(); ++length) {
    const std::string text = extract(std::string_view(file).substr(0, length));
    EXPECT_TRUE(text == kExpected || text == "\f" || text == "!2" || text == "Hello\n\f" ||
                text.starts_with("H") || text.empty())
        << length << ": " << text;
  }
}

TEST(PdfDocument, PagesInheritAndContentsArraysAreOneStream) {
  PdfBuilder builder = PdfBuilder::page(kHello);
  builder.object(2) =
      "<</Type/Pages/Kids[3 0 R]/MediaBox[0 0 600 800]/Resources<</Font<</F 5 0 R>>>>>>";
  builder.object(3) = "<</Type/Page/Contents[6 0 R 4 0 R 9 0 R 7 0 R]>>";
  builder.add(streamObject("", "BT /F 10 Tf 50 720 Td (above)"));
  builder.add(streamObject("", "BT 1 0 0 1 50 600 Tm (below) Tj ET"));
  builder.object(4) = streamObject("", "Tj ET");
  EXPECT_EQ(extract(builder.build()), "above\nbelow\n\f");
}

TEST(PdfDocument, HostileFilesEndWithinTheirBudget) {
  PdfBuilder bomb = PdfBuilder::page("");
  std::string operators;
  while (operators.size() < 40 << 20) operators += "q 1 0 0 1 0 0 cm Q ";
  bomb.object(4) = streamObject("/Filter/FlateDecode", deflated(operators));
  EXPECT_EQ(extract(bomb.build()), "\f");

  PdfBuilder forms = PdfBuilder::page("/X Do", "/XObject<</X 6 0 R>>");
  for (int i = 7; i < 20; ++i) {
    std::string body;
    for (int j = 0; j < 50; ++j) body += "/X Do ";
    forms.add(streamObject(
        "/Subtype/Form/Resources<</XObject<</X " + std::to_string(i) + " 0 R>>>>", body));
  }
  EXPECT_EQ(extract(forms.build()), "\f");

  EXPECT_EQ(extract("%PDF-1.4\n1 0 obj" + std::string(200000, '[')), "!2");
  std::string numbers = "%PDF-1.4\n";
  for (int i = 0; i < 20000; ++i) numbers += std::to_string(i) + " 0 obj<</Length 1>>stream\n";
  EXPECT_EQ(extract(numbers), "!2");
}

}  // namespace
}  // namespace veska::test
