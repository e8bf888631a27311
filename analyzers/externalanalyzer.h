// CExternalAnalyzer: files that a configured command converts into a kind that another analyzer
// reads. Its output goes to a temporary file, "TEMPORARY/RECORD.EXTENSION", and is kept for display
// where that other analyzer reads it directly.

#ifndef VESKA_ANALYZERS_EXTERNALANALYZER_H_
#define VESKA_ANALYZERS_EXTERNALANALYZER_H_

#include <string>
#include <string_view>
#include <vector>

#include "analyzers/fileanalyzer.h"

class VESKA_API CExternalAnalyzer : public CFileAnalyzer {
 public:
  // outputExtension: of the converted file, without its dot; beginning with "...": what stands
  // between the first and the last dot of the source's name is kept. command: for the shell, with
  // the placeholders "%i" for the source and "%o" for the output, in either order. With fewer than
  // two it is never run.
  CExternalAnalyzer(CVeskaIndex* index, std::string outputExtension, std::string_view command);

  // False: words come from the converted file.
  bool canUseIndexBuffer() override;

  // Converts anew. Result: what the analyzer of the output returned, false when there is none.
  // A command that runs out of time or leaves no file is reported as "ConverterFailed", output that
  // is cut at the limit of a member as "LimitReached".
  bool indexFile(const char* path, unsigned long number) override;

  // As the base, from the output that was kept, unless it is older than the source. An empty text
  // when there is none to be had.
  char* fillDisplayBuffer(const char* path, unsigned long number, unsigned long maxBytes,
                          int lineWidth, bool option) override;

  // Path of the output, empty without a temporary directory.
  std::string makeTemporaryPath(std::string_view source, unsigned long number) const;

  // Runs the command, unless no analyzer would read its output. Result: was it run to its end?
  bool createTemporaryFile(const std::string& source, const std::string& temporary);

  // The command with its paths, each one argument to the shell; empty when it must not be run.
  std::string makeCommand(const std::string& source, const std::string& temporary) const;

 private:
  class Conversion;

  bool runConverter(const std::string& command, const std::string& temporary);
  bool cutToLimit(const std::string& temporary);
  void report(const char* key, const std::string& source) const;

  std::string outputExtension_;
  std::string commandHead_;
  std::string commandMiddle_;
  std::string commandTail_;
  char lastPlaceholder_ = 0;  // 'i' or 'o'; 0: fewer than two

  std::vector<unsigned long> converting_;  // the records that are being converted
};

#endif  // VESKA_ANALYZERS_EXTERNALANALYZER_H_
