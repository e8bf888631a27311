// Making the next generation of an index: one writer at a time, in a folder of its own, on stable
// storage before anybody reads it, and leavings of runs that did not end swept away.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "host/files.h"
#include "host/home.h"

namespace veska {

// The right to write. Kept until the object goes.
class WriterLock {
 public:
  // Makes the home's folders when they are missing. When another process holds the lock: waits for
  // it if `wait`, else fails with its process number. Ctrl-C ends the wait.
  WriterLock(const Home& home, bool wait);

 private:
  FileDescriptor lock_;
};

// A folder for the next generation. Goes away with the object unless commit() was called.
class NewGeneration {
 public:
  // The folder is empty. home must outlive the object.
  NewGeneration(const Home& home, const WriterLock& lock);
  ~NewGeneration();
  NewGeneration(const NewGeneration&) = delete;
  NewGeneration& operator=(const NewGeneration&) = delete;

  // Fills the folder with the base's tables; they share its blocks where the file system can.
  // interrupted: asked between pieces; true ends the copy with status 130.
  void copyTables(const Generation& base, const std::function<bool()>& interrupted);

  const std::string& path() const { return path_; }  // with a trailing "/"
  uint64_t number() const { return number_; }

  // Brings every file and the folder to stable storage, then puts the generation in force.
  // REQUIRES: the tables are saved and closed.
  void commit();

 private:
  const Home& home_;
  uint64_t number_;
  std::string path_;
  bool committed_ = false;
};

// Removes generations that are not in force and that nobody reads, with the caches of lineages that
// no generation is left of.
void sweepGenerations(const Home& home, const WriterLock& lock);

// The ids of the records for which something is kept in the lineage's cache, ascending.
std::vector<uint64_t> cachedRecords(const Home& home, uint64_t lineage);

// Removes from the lineage's cache what belongs to no live record (isLive: by its id), and
// temporary files of runs that did not end. Does nothing while somebody reads there.
void sweepCache(const Home& home, const WriterLock& lock, uint64_t lineage,
                const std::function<bool(uint64_t id)>& isLive);

}  // namespace veska
