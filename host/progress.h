// The line on a terminal that tells how far a run is. It is rewritten in place, on stderr.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

#include "api/veskalib.h"

namespace veska {

class Progress {
 public:
  // Writes nothing when quiet, or when stderr is no terminal.
  explicit Progress(bool quiet);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  // A phase that tells nothing of itself: "copying the index".
  void phase(std::string_view what);
  // Paths below this folder are those of temporary files; the names of their sources are shown.
  void setScratchFolder(const std::string& folder) { scratch_ = folder + "/"; }
  // A status report of the engine. index: whose counters are shown, may be null.
  void report(CVeskaIndex* index, std::string_view key, std::string_view detail);

 private:
  void countedLine(CVeskaIndex* index, std::string_view path);
  void write(std::string line);

  bool active_;
  bool shown_ = false;
  std::chrono::steady_clock::time_point start_;
  std::chrono::steady_clock::time_point last_;
  std::string scratch_;
  double bytesBefore_ = -1;
  unsigned long filesBefore_ = 0;
};

// 1234567 with commas: "1,234,567".
std::string grouped(uint64_t number);
// "512 bytes", "1.5 kB", "23.4 MB" (powers of 1000).
std::string sizeText(double bytes);
// The text with control characters replaced, cut from the left to the width (terminal cells).
std::string pathToFit(std::string_view path, size_t width);

}  // namespace veska
