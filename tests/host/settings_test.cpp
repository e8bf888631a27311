#include "host/settings.h"

#include <gtest/gtest.h>

#include "host/errors.h"

namespace veska {
namespace {

std::string errorIn(const std::string& text) {
  try {
    parseSettings(text, "veska.toml");
  } catch (const HostError& error) {
    return std::string(error.sentence());
  }
  return "no error";
}

TEST(Settings, TheFileShownFirstHoldsTheDefaults) {
  const Settings shown = parseSettings(defaultSettingsText(), "veska.toml");
  const Settings defaults = defaultSettings();
  EXPECT_EQ(shown.include, defaults.include);
  EXPECT_EQ(shown.exclude, defaults.exclude);
  EXPECT_EQ(shown.fingerprint(""), defaults.fingerprint(""));
  EXPECT_TRUE(shown.roots.empty());
  // Every file is tested against them one by one.
  EXPECT_LE(defaults.include.size(), 150u);
  for (const IncludePattern& include : defaults.include) {
    EXPECT_EQ(include.pattern.find_first_of("|&^ "), std::string::npos) << include.pattern;
  }
}

TEST(Settings, EachValueIsRead) {
  const Settings settings = parseSettings(
      "roots = ['/a/', '/', '/a', 'file:///x%E9']\nexclude = ['*/x ^ */y']\n"
      "[words]\nshortest = 3\nlongest = 20\n"
      "[limits]\nfile_megabytes = 1\nmember_megabytes = 0\narchive_megabytes = 7\n"
      "archive_levels = 0\nconverter_seconds = 5\nrecord_all_files = false\n"
      "[[include]]\npatterns = ['*.a', '*.b']\n[[include]]\nreader = 'html'\npatterns = ['*']\n",
      "veska.toml");
  EXPECT_EQ(settings.roots, (std::vector<std::string>{"/a", "/", "/x\xE9"}));
  EXPECT_EQ(settings.exclude, std::vector<std::string>{"*/x ^ */y"});
  EXPECT_EQ(settings.include,
            (std::vector<IncludePattern>{{"*.a", "generic"}, {"*.b", "generic"}, {"*", "html"}}));
  EXPECT_EQ(settings.shortestWord, 3);
  EXPECT_EQ(settings.longestWord, 20);
  EXPECT_EQ(settings.fileBytes, 1u << 20);
  EXPECT_EQ(settings.memberBytes, 0u);
  EXPECT_EQ(settings.archiveBytes, 7u << 20);
  EXPECT_EQ(settings.archiveLevels, 0);
  EXPECT_EQ(settings.converterSeconds, 5);
  EXPECT_FALSE(settings.recordAllFiles);
}

TEST(Settings, WhatIsWrongIsToldWithItsLine) {
  const std::pair<const char*, const char*> cases[] = {
      {"\n\nx = 1", "veska.toml, line 3: there is no setting named \"x\""},
      {"[words]\nshort = 1", "veska.toml, line 2: there is no setting named \"short\""},
      {"words = 1", "veska.toml, line 1: [words] is a section, not a value"},
      {"[words]\nshortest = 0", "veska.toml, line 2: \"shortest\" is a whole number from 1 to 100"},
      {"[words]\nlongest = 2.5", "veska.toml, line 2: \"longest\" is a whole number from 1 to 100"},
      {"[words]\nshortest = 70",
       "veska.toml, line 1: the shortest word is longer than the longest"},
      {"roots = 'a'", "veska.toml, line 1: a list of texts is wanted here: [\"...\", \"...\"]"},
      {"roots = ['a']",
       "veska.toml, line 1: a root is a full path that begins with \"/\", not \"a\""},
      {"roots = [1]", "veska.toml, line 1: a text in quotes is wanted here"},
      {"exclude = [\"a\\u0000b\"]", "veska.toml, line 1: the text holds a zero byte"},
      {"[[include]]\nreader = 'html'",
       "veska.toml, line 1: an [[include]] section needs:"
       " patterns = [...]"},
      {"[limits]\nfile_megabytes = 9223372036854775807",
       "veska.toml, line 2: \"file_megabytes\" is a whole number from 1 to 4095"},
      {"[limits]\nrecord_all_files = 1",
       "veska.toml, line 2: \"record_all_files\" is true or false"},
  };
  for (const auto& [text, wanted] : cases) EXPECT_EQ(errorIn(text), wanted);
  // What is no TOML at all: the parser's own words, but the line.
  for (const char* text :
       {"roots = [", "=", "a = 1\na = 2", "\xFF", "x = \"\n", "\xC3\xA9 = 1", "[&x]"}) {
    EXPECT_TRUE(errorIn(text).starts_with("veska.toml, line ")) << errorIn(text);
  }
  EXPECT_TRUE(errorIn("exclude = " + std::string(100'000, '[')).starts_with("veska.toml, line 1"));
}

TEST(Settings, AddedRootsLeaveAllElseAsItWas) {
  const std::pair<const char*, const char*> cases[] = {
      {"# mine\n[words]\n", "roots = [\n  \"/n\",\n]\n\n# mine\n[words]\n"},
      {"roots = [\n] # mine\n", "roots = [\n  \"/n\",\n] # mine\n"},
      {"roots=[]", "roots=[\n  \"/n\",\n]"},
      {"roots = ['/é', '/a' # one\n]", "roots = ['/é', '/a',\n  \"/n\" # one\n]"},
      {"# é\nroots = [\n  \"/a\", # one\n]\n", "# é\nroots = [\n  \"/a\",\n  \"/n\", # one\n]\n"},
      {"roots = ['/n']", "roots = ['/n']"},
  };
  for (const auto& [text, wanted] : cases) EXPECT_EQ(withRootsAdded(text, {"/n"}, "f"), wanted);
}

TEST(Settings, AddedRootsMayHaveAnyBytes) {
  std::vector<std::string> roots{"/a \"b\" \\", "/\xE9t\xC3\xA9%20", "/tab\there\n", "/\x7F#"};
  const std::string text = withRootsAdded(defaultSettingsText(), roots, "f");
  EXPECT_EQ(parseSettings(text, "f").roots, roots);
}

TEST(Settings, FingerprintTellsWhatDecidesOverWords) {
  const Settings defaults = defaultSettings();
  Settings other = defaults;
  other.roots.emplace_back("/a");
  EXPECT_EQ(other.fingerprint(""), defaults.fingerprint(""));
  EXPECT_NE(defaults.fingerprint("the\n"), defaults.fingerprint(""));
  other.exclude.back() += "x";
  EXPECT_NE(other.fingerprint(""), defaults.fingerprint(""));
  other = defaults;
  std::swap(other.include.front(), other.include.back());
  EXPECT_NE(other.fingerprint(""), defaults.fingerprint(""));
}

}  // namespace
}  // namespace veska
