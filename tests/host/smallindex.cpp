#include "tests/host/smallindex.h"

#include <sys/stat.h>

#include <chrono>
#include <cstdio>
#include <filesystem>

#include "host/accents.h"
#include "host/settings.h"
#include "host/state.h"

namespace veska::test {

namespace {

Settings plainTextOnly() {
  Settings settings;
  settings.include = {{"*", "generic"}};
  return settings;
}

}  // namespace

SmallIndex::SmallIndex(bool unicode) : unicode_(unicode) {
  for (const std::string& path : {tables(), folder(), dir_ / "scratch"}) {
    std::filesystem::create_directories(path);
  }
}

void SmallIndex::write(const std::string& name, const std::string& text) {
  const std::string path = folder() + "/" + name;
  writeFile(path, text);
  // Updates go by whole seconds: each text gets a second of its own.
  std::filesystem::last_write_time(
      path, std::filesystem::last_write_time(path) - std::chrono::seconds(100000 - ++writes_));
  texts_[path] = text;
}

void SmallIndex::remove(const std::string& name) {
  const std::string path = folder() + "/" + name;
  std::remove(path.c_str());
  texts_.erase(path);
}

void SmallIndex::build() {
  session_.reset();
  session_ = std::make_unique<Session>(Session::create(tables(), unicode_));
  CVeskaIndex* index = session_->index();
  session_->applySettings(plainTextOnly(), dir_ / "scratch");
  session_->prepareRun(State{}, 0, false);
  vidxNewFileLinks(index);
  const unsigned long root = vfsAddFile(vidxGetFiles(index), folder().c_str());
  vidxIndexDirectory(index, folder().c_str(), root);
  save();
}

void SmallIndex::update() {
  session_.reset();
  session_ = std::make_unique<Session>(Session::open(tables(), unicode_));
  session_->applySettings(plainTextOnly(), dir_ / "scratch");
  session_->prepareRun(State{}, 0, true);
  vidxPrune(session_->index());
  save();
}

void SmallIndex::save() {
  vidxCompressLinks(session_->index());
  vidxStoreStorage(session_->index(), tables().c_str());
  session_->check();
  if (unicode_) writeAccents(session_->index(), tables());
  session_.reset();
}

CVeskaIndex* SmallIndex::open() {
  session_.reset();
  session_ = std::make_unique<Session>(Session::open(tables(), unicode_));
  return session_->index();
}

}  // namespace veska::test
