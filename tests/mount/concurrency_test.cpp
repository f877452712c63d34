#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <random>
#include <thread>

#include "mount/mount_fixture.h"

namespace tovrin {

namespace {

namespace fs = std::filesystem;

constexpr unsigned kThreads = 8;

void inThreads(const std::function<void(unsigned)>& work) {
  std::vector<std::jthread> threads;
  for (unsigned number = 0; number < kThreads; ++number) threads.emplace_back(work, number);
}

/// Replaces the contents as most programs save; an errno.
int save(const fs::path& file, std::string_view bytes) {
  const int descriptor = open(file.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC);
  if (descriptor < 0) return errno;
  const bool isWritten = write(descriptor, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
  const int error = isWritten ? 0 : errno;
  return close(descriptor) != 0 ? errno : error;
}

class Concurrency : public MountTest {
 protected:
  void SetUp() override {
    MountTest::SetUp();
    if (IsSkipped() || HasFatalFailure()) return;
    for (unsigned number = 0; number < kFiles; ++number) {
      contents_.push_back(noise(1000 + number * 20'011, number + 1));
      write(name(number), contents_.back());
    }
    makeWarp();
  }

  static std::string name(unsigned number) { return std::to_string(number) + ".bin"; }
  fs::path file(unsigned number) const { return shown() / name(number); }

  static constexpr unsigned kFiles = 24;  // 5.6 MB
  std::vector<std::string> contents_;
};

TEST_F(Concurrency, readersGetTheRightBytesWhileCopiesComeAndGo) {
  mount({"cache_size=4M", "cache_free=0%"});
  std::atomic<unsigned> wrong = 0;
  inThreads([&](unsigned thread) {
    std::mt19937 random(thread);
    for (int round = 0; round < 60; ++round) {
      const unsigned number = random() % kFiles;
      if (readFile(file(number)) != contents_[number]) ++wrong;
    }
  });
  EXPECT_EQ(wrong, 0U) << mountLog();
  EXPECT_GT(downloads(), std::size_t{kFiles}) << "nothing was ever evicted";
}

TEST_F(Concurrency, everyWriterKeepsItsLastSave) {
  mount();
  std::atomic<int> error = 0;
  inThreads([&](unsigned thread) {
    for (unsigned round = 1; round <= 10; ++round) {
      contents_[thread] = noise(round * 9973, thread * 100 + round);
      if (const int failed = save(file(thread), contents_[thread])) error = failed;
      // The files behind those that are written.
      const unsigned other = kThreads + (thread + round) % (kFiles - kThreads);
      if (readFile(file(other)) != contents_[other]) error = EILSEQ;
    }
  });
  EXPECT_EQ(error, 0);
  for (unsigned number = 0; number < kFiles; ++number)
    EXPECT_TRUE(readFile(file(number)) == contents_[number]) << number;
  remount();
  for (unsigned number = 0; number < kFiles; ++number)
    EXPECT_TRUE(readFile(file(number)) == contents_[number]) << number;
}

TEST_F(Concurrency, writersOfOneFileAllFindTheirBytesInIt) {
  constexpr std::size_t kPiece = 40'000;
  mount();
  const unsigned number = kFiles - 1;
  ASSERT_GT(contents_[number].size(), kThreads * kPiece);
  std::atomic<int> error = 0;
  inThreads([&](unsigned thread) {
    const int descriptor = open(file(number).c_str(), O_RDWR | O_CLOEXEC);
    const std::string piece = noise(kPiece, 1000 + thread);
    const auto place = static_cast<off_t>(thread * kPiece);
    for (std::size_t done = 0; done < kPiece; done += kPiece / 10) {
      const ssize_t written = pwrite(descriptor, piece.data() + done, kPiece / 10, place + static_cast<off_t>(done));
      if (written != static_cast<ssize_t>(kPiece / 10)) error = errno;
      if (done == kPiece / 2 && fsync(descriptor) != 0) error = errno;
    }
    if (close(descriptor) != 0) error = errno;
  });
  EXPECT_EQ(error, 0);
  for (unsigned thread = 0; thread < kThreads; ++thread) {
    contents_[number].replace(thread * kPiece, kPiece, noise(kPiece, 1000 + thread));
  }
  EXPECT_TRUE(readFile(file(number)) == contents_[number]);
  remount();
  EXPECT_TRUE(readFile(file(number)) == contents_[number]);
}

}  // namespace

}  // namespace tovrin
