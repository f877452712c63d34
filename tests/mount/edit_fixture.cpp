#include "mount/edit_fixture.h"

namespace tovrin {

void EditTest::SetUp() {
  MountTest::SetUp();
  if (IsSkipped() || HasFatalFailure()) return;
  write("notes.txt", text_);
  write("big.bin", bytes_);
  write("folder/other.txt", "other\n");
  makeWarp({"--layout", "object"});
  mount();
}

int EditTest::append(const std::filesystem::path& file, std::string_view bytes) {
  OpenedFile opened(file, O_WRONLY | O_APPEND);
  opened.writeAt(0, bytes);  // the place does not count
  return opened.close();
}

void EditTest::expectOneEdit(std::string_view name, std::string_view bytes) {
  EXPECT_EQ(readFile(shown() / name), bytes);
  EXPECT_EQ(std::filesystem::file_size(shown() / name), bytes.size());
  EXPECT_EQ(edits(), (std::vector<PendingEdit>{{originals() / name, std::string(bytes)}}));
  EXPECT_EQ(state(shown() / name), "edited");
}

void EditTest::expectNoLeftovers() const {
  EXPECT_EQ(run("cd $D && find . -mindepth 1 | sort").output, "./big.bin\n./folder\n./folder/other.txt\n./notes.txt\n");
  EXPECT_EQ(countFiles(scratch_ / "home/cache/tovrin/TovrinFileProvider"), 0U);
  EXPECT_EQ(run("find $HOME/state/tovrin -path '*/beginning/*' -o -path '*/interrupted/*'").output, "");
}

}  // namespace tovrin
