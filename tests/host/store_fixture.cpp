#include "host/store_fixture.h"

#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include "provider/identifier.h"

namespace tovrin::host {

void StoreTest::open() {
  close();
  auto opened = tryToOpen();
  ASSERT_TRUE(opened.has_value()) << opened.error().localizedDescription();
  store = std::move(*opened);
}

std::filesystem::path StoreTest::delivered(std::string_view bytes) {
  const std::filesystem::path file = scratch / ("delivered" + std::to_string(deliveries_++));
  writeFile(file, bytes);
  return file;
}

std::shared_ptr<LocalFile> StoreTest::adopt(const std::string& identifier, const std::string& version,
                                            std::string_view bytes) {
  auto adopted = store->adopt(identifier, version, delivered(bytes), nullptr);
  EXPECT_TRUE(adopted.has_value()) << adopted.error().localizedDescription();
  return adopted ? *adopted : nullptr;
}

void StoreTest::keep(const std::string& identifier, const std::string& version, std::string_view bytes) {
  EXPECT_NE(adopt(identifier, version, bytes), nullptr);
}

std::shared_ptr<LocalFile> StoreTest::beginEdit(const std::string& identifier, const std::string& baseVersion,
                                                const LocalFile* from) {
  auto edit = store->beginEdit(identifier, baseVersion, from);
  EXPECT_TRUE(edit.has_value()) << edit.error().localizedDescription();
  return edit ? *edit : nullptr;
}

void StoreTest::mark(const std::string& identifier, EditState state, bool durable) {
  const auto marked = store->markEdit(identifier, state, durable);
  EXPECT_TRUE(marked.has_value()) << marked.error().localizedDescription();
}

void StoreTest::keepCopiesAndEdits() {
  keep("a", "1", "copy a");
  keep("b", "1", "copy b");
  const std::string notes = entryIdentifier("W1", "notes.txt");
  append(*beginEdit(notes, "1"), "unsaved edit");
  mark(notes, EditState::unsaved, true);
  append(*beginEdit("saved", "1"), "saved edit");
  mark("saved", EditState::saved);
}

void StoreTest::execute(const std::string& sql) const {
  sqlite3* database = nullptr;
  ASSERT_EQ(sqlite3_open(index().c_str(), &database), SQLITE_OK);
  char* message = nullptr;
  EXPECT_EQ(sqlite3_exec(database, sql.c_str(), nullptr, nullptr, &message), SQLITE_OK) << message;
  sqlite3_close(database);
}

std::multiset<std::pair<std::string, EditState>> StoreTest::editStates() const {
  std::multiset<std::pair<std::string, EditState>> states;
  for (const Edit& edit : store->edits()) states.emplace(edit.identifier, edit.state);
  return states;
}

std::string readAll(const LocalFile& file) {
  struct stat status{};
  EXPECT_EQ(fstat(file.descriptor(), &status), 0);
  std::string bytes(static_cast<std::size_t>(status.st_size), '\0');
  EXPECT_EQ(pread(file.descriptor(), bytes.data(), bytes.size(), 0), status.st_size);
  return bytes;
}

void append(const LocalFile& file, std::string_view bytes) {
  struct stat status{};
  EXPECT_EQ(fstat(file.descriptor(), &status), 0);
  EXPECT_EQ(pwrite(file.descriptor(), bytes.data(), bytes.size(), status.st_size), static_cast<ssize_t>(bytes.size()));
}

std::set<std::string> namesIn(const std::filesystem::path& folder) {
  std::set<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) names.insert(entry.path().filename());
  return names;
}

}  // namespace tovrin::host
