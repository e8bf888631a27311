// The peer of scripts/bench: SQLite's FTS5, driven as plainly as can be.
//
//   ftspeer index DIR DB           a new database, one transaction, positions kept, text not stored
//   ftspeer update DIR DB          takes in files that are new or changed (by size or time)
//   ftspeer query DB MATCH         prints the paths of the 20 best by bm25, and the number of hits
//
// In files named *.html and *.htm, tags, scripts and styles are left out. Two parts of it (the
// schema and the one transaction) are what SQLite's documentation recommends for loading.

#include <sqlite3.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

namespace {

namespace fs = std::filesystem;

class Database {
 public:
  explicit Database(const char* path) { check(sqlite3_open(path, &db_)); }
  ~Database() { sqlite3_close(db_); }
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  void run(const char* sql) { check(sqlite3_exec(db_, sql, nullptr, nullptr, nullptr)); }
  void check(int result) {
    if (result == SQLITE_OK) return;
    std::fprintf(stderr, "ftspeer: %s\n", sqlite3_errmsg(db_));
    std::exit(2);
  }
  sqlite3* get() const { return db_; }

 private:
  sqlite3* db_ = nullptr;
};

class Statement {
 public:
  Statement(Database& db, const char* sql) : db_(db) {
    db_.check(sqlite3_prepare_v2(db_.get(), sql, -1, &statement_, nullptr));
  }
  ~Statement() { sqlite3_finalize(statement_); }
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;

  Statement& bind(int at, std::string_view text) {
    db_.check(sqlite3_bind_text(statement_, at, text.data(), static_cast<int>(text.size()),
                                SQLITE_TRANSIENT));
    return *this;
  }
  Statement& bind(int at, int64_t number) {
    db_.check(sqlite3_bind_int64(statement_, at, number));
    return *this;
  }
  bool step() { return sqlite3_step(statement_) == SQLITE_ROW; }
  void reset() { sqlite3_reset(statement_); }
  int64_t number(int column) { return sqlite3_column_int64(statement_, column); }
  const char* text(int column) {
    return reinterpret_cast<const char*>(sqlite3_column_text(statement_, column));
  }

 private:
  Database& db_;
  sqlite3_stmt* statement_ = nullptr;
};

std::string withoutTags(const std::string& html) {
  std::string text;
  for (size_t at = 0; at < html.size();) {
    const size_t tag = html.find('<', at);
    text.append(html, at, tag - at);
    if (tag == std::string::npos) break;
    const char* end = ">";
    if (strncasecmp(&html[tag], "<script", 7) == 0) end = "</script>";
    if (strncasecmp(&html[tag], "<style", 6) == 0) end = "</style>";
    const size_t close = html.find(end, tag);
    if (close == std::string::npos) break;
    at = close + std::strlen(end);
    text += ' ';
  }
  return text;
}

void load(const char* folder, const char* path, bool isUpdate) {
  if (!isUpdate) fs::remove(path);
  Database db(path);
  db.run("PRAGMA synchronous = NORMAL");
  db.run("BEGIN");
  db.run("CREATE TABLE IF NOT EXISTS f (id INTEGER PRIMARY KEY, path TEXT, time INT, size INT)");
  db.run("CREATE INDEX IF NOT EXISTS f_path ON f (path)");
  db.run("CREATE VIRTUAL TABLE IF NOT EXISTS t USING fts5 (body, content='')");
  {
    Statement known(db, "SELECT id, time, size FROM f WHERE path = ? AND size >= 0");
    Statement forget(db, "UPDATE f SET size = -1 WHERE id = ?");
    Statement addFile(db, "INSERT INTO f (path, time, size) VALUES (?, ?, ?)");
    Statement addText(db, "INSERT INTO t (rowid, body) VALUES (?, ?)");
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
      struct stat info {};
      const std::string name = entry.path().string();
      if (lstat(name.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) continue;
      const int64_t time = info.st_mtim.tv_sec * int64_t{1000000000} + info.st_mtim.tv_nsec;
      if (isUpdate) {
        known.reset();
        if (known.bind(1, name).step()) {
          if (known.number(1) == time && known.number(2) == info.st_size) continue;
          forget.bind(1, known.number(0)).step();
          forget.reset();
        }
      }
      std::ifstream file(name, std::ios::binary);
      std::string text(static_cast<size_t>(info.st_size), '\0');
      file.read(text.data(), static_cast<std::streamsize>(text.size()));
      text.resize(static_cast<size_t>(file.gcount()));
      if (name.ends_with(".html") || name.ends_with(".htm")) text = withoutTags(text);
      addFile.bind(1, name).bind(2, time).bind(3, info.st_size).step();
      addFile.reset();
      addText.bind(1, sqlite3_last_insert_rowid(db.get())).bind(2, text).step();
      addText.reset();
    }
  }
  db.run("COMMIT");
}

void query(const char* path, const char* match) {
  Database db(path);
  Statement best(db,
                 "SELECT path FROM t JOIN f ON f.id = t.rowid WHERE t MATCH ? AND size >= 0 "
                 "ORDER BY rank LIMIT 20");
  for (best.bind(1, match); best.step();) std::puts(best.text(0));
  Statement count(db, "SELECT count(*) FROM t WHERE t MATCH ?");
  if (count.bind(1, match).step())
    std::printf("%lld hits\n", static_cast<long long>(count.number(0)));
}

}  // namespace

int main(int argc, char** argv) {
  const std::string_view command = argc == 4 ? argv[1] : "";
  if (command == "index" || command == "update") {
    load(argv[2], argv[3], command == "update");
  } else if (command == "query") {
    query(argv[2], argv[3]);
  } else {
    std::fputs("usage: ftspeer index|update DIR DB | query DB MATCH\n", stderr);
    return 2;
  }
}
