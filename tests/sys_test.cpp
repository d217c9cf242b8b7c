// Paths, files, directories and the mutex table.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <thread>

#include "support/faults.h"
#include "support/program.h"
#include "sys/directory.h"
#include "sys/file.h"
#include "sys/mutex_table.h"
#include "sys/path.h"
#include "sys/sleep.h"

namespace {

std::string Split(const char* pPath, uint32_t DirSize) {
  std::array<char, 3> acDrive{'?'};
  std::array<char, 64> acDir{};
  std::array<char, 16> acName{};
  std::array<char, 16> acExt{};
  SYS_SplitPath(pPath, {acDrive.data(), 3}, {acDir.data(), DirSize}, {acName.data(), 16}, {acExt.data(), 16});
  return std::string(acDrive.data()) + acDir.data() + "|" + acName.data() + "|" + acExt.data();
}

TEST(Path, SplitsAtTheLastSlashAndTheLastDot) {
  EXPECT_EQ("/work/fw/|app|.hex", Split("/work/fw/app.hex", 64));
  EXPECT_EQ("|app.tar|.hex", Split("app.tar.hex", 64));
  EXPECT_EQ("/work/|.profile|", Split("/work/.profile", 64));
  EXPECT_EQ("|.hex|", Split(".hex", 64));
  EXPECT_EQ("a.d/|file|", Split("a.d/file", 64));
  EXPECT_EQ("a/b/||", Split("a/b/", 64));
  EXPECT_EQ("|.|.", Split("..", 64));
  EXPECT_EQ("123|x|.y", Split("12345/x.y", 4));
  EXPECT_EQ("?||", Split(nullptr, 64));
}

std::string ReadAll(int64_t hFile) {
  std::array<char, 16> acText{};
  const int64_t Num = SYS_FileRead(static_cast<uint32_t>(hFile), acText.data(), 16);
  return Num < 0 ? "error" : std::string(acText.data(), static_cast<size_t>(Num));
}

void WriteAndClose(int64_t hFile, const std::string& Text) {
  ASSERT_NE(SYS_NO_FILE, hFile);
  EXPECT_EQ(static_cast<int64_t>(Text.size()),
            SYS_FileWrite(static_cast<uint32_t>(hFile), Text.data(), static_cast<uint32_t>(Text.size())));
  EXPECT_EQ(0, SYS_FileClose(static_cast<uint32_t>(hFile)));
}

TEST(File, OpensAsTheFlagsSay) {
  const TempDir Dir;
  umask(022);
  const std::string Path = Dir.Path("a/b/f");
  EXPECT_EQ(SYS_NO_FILE, SYS_FileOpen(Path.c_str(), 0x12));  // only SYS_OpenFileEx makes directories
  WriteAndClose(SYS_OpenFileEx(Path.c_str(), 0x36), "12345");
  struct stat Status {};
  ASSERT_EQ(0, stat(Path.c_str(), &Status));
  EXPECT_EQ(0644U, Status.st_mode & 0777U);

  WriteAndClose(SYS_FileOpen(Path.c_str(), 0x02), "ab");
  EXPECT_EQ("ab345", Dir.Read("a/b/f"));
  WriteAndClose(SYS_FileOpen(Path.c_str(), 0x42), "6");
  EXPECT_EQ("ab3456", Dir.Read("a/b/f"));
  WriteAndClose(SYS_FileOpen(Path.c_str(), 0x23), "xy");
  EXPECT_EQ("xy", Dir.Read("a/b/f"));
  EXPECT_EQ(SYS_NO_FILE, SYS_FileOpen(Path.c_str(), 0xB2));
  EXPECT_EQ("xy", Dir.Read("a/b/f"));
  WriteAndClose(SYS_FileOpen(Dir.Path("a/new").c_str(), 0xB2), "n");

  for (const uint32_t Flags : {0x00U, 0x05U, 0x80U, 0x03U}) {
    const int64_t hFile = SYS_FileOpen(Path.c_str(), Flags);
    EXPECT_EQ("xy", ReadAll(hFile)) << Flags;
    EXPECT_EQ("", ReadAll(hFile)) << Flags;
    EXPECT_EQ(Flags == 0x03 ? 1 : -1, SYS_FileWrite(static_cast<uint32_t>(hFile), "!", 1)) << Flags;
    EXPECT_EQ(0, SYS_FileClose(static_cast<uint32_t>(hFile)));
  }
}

TEST(File, ExpandsTheHomeDirectoryAndCutsThePath) {
  const TempDir Dir;
  setenv("HOME", Dir.Path("home").c_str(), 1);
  WriteAndClose(SYS_OpenFileEx("~/x/y", 0x36), "h");
  EXPECT_EQ("h", Dir.Read("home/x/y"));
  const std::string Slashes(511 - Dir.Path("home").size() - 1, '/');
  WriteAndClose(SYS_OpenFileEx(("~" + Slashes + "cut").c_str(), 0x36), "c");
  EXPECT_EQ("c", Dir.Read("home/c"));
  unsetenv("HOME");  // the home directory of the user's entry then
  const int64_t hHome = SYS_OpenFileEx("~", 0x01);
  EXPECT_NE(SYS_NO_FILE, hHome);
  SYS_FileClose(static_cast<uint32_t>(hHome));
  EXPECT_EQ(SYS_NO_FILE, SYS_OpenFileEx(nullptr, 0x01));
  EXPECT_EQ(SYS_NO_FILE, SYS_OpenFileEx("", 0x36));
}

TEST(File, RetriesAfterADelay) {
  const TempDir Dir;
  const auto Start = std::chrono::steady_clock::now();
  EXPECT_EQ(SYS_NO_FILE, SYS_OpenFileRetry(Dir.Path("late").c_str(), 0x05, 3, 10));
  EXPECT_GE(std::chrono::steady_clock::now() - Start, std::chrono::milliseconds(30));

  std::thread Writer([&Dir] {
    SYS_Sleep(20);
    Dir.Write("late", "now");
  });
  int64_t hFile = SYS_NO_FILE;
  EXPECT_NE(SYS_NO_FILE, hFile = SYS_OpenFileRetry(Dir.Path("late").c_str(), 0x45, 100000, 1));
  EXPECT_EQ("", ReadAll(hFile)) << "the position is the file's end, also after a retry";
  SYS_FileClose(static_cast<uint32_t>(hFile));
  Writer.join();
}

TEST(Directory, CreatesParentsToTheGivenDepth) {
  const TempDir Dir;
  Dir.Write("file", "");
  EXPECT_EQ(-1, SYS_CreateDirectory(Dir.Path("a/b/c").c_str(), 2));
  EXPECT_EQ(0, SYS_CreateDirectory(Dir.Path("a/b/c///").c_str(), 4));
  EXPECT_EQ(SYS_ATTR_DIRECTORY, SYS_GetFileAttributes(Dir.Path("a/b/c").c_str()));
  EXPECT_EQ(0, SYS_CreateDirectory(Dir.Path("a/b/c").c_str(), 1));
  EXPECT_EQ(-1, SYS_CreateDirectory(Dir.Path("a/b/c").c_str(), 0));
  EXPECT_EQ(-1, SYS_CreateDirectory(Dir.Path("file").c_str(), 9));
  EXPECT_EQ(-1, SYS_CreateDirectory(Dir.Path("file/x").c_str(), 9));
  EXPECT_EQ(-1, SYS_CreateDirectory("", 9));
  EXPECT_EQ(-1, SYS_CreateDirectory(nullptr, 9));

  EXPECT_EQ(0, SYS_GetFileAttributes(Dir.Path("file").c_str()));
  chmod(Dir.Path("file").c_str(), 0444);
  chmod(Dir.Path("a/b/c").c_str(), 0555);
  EXPECT_EQ(SYS_ATTR_READ_ONLY, SYS_GetFileAttributes(Dir.Path("file").c_str()));
  EXPECT_EQ(SYS_ATTR_READ_ONLY | SYS_ATTR_DIRECTORY, SYS_GetFileAttributes(Dir.Path("a/b/c").c_str()));
  EXPECT_EQ(-1, SYS_GetFileAttributes("/dev/null"));
  EXPECT_EQ(-1, SYS_GetFileAttributes(Dir.Path("none").c_str()));
  EXPECT_EQ(0, SYS_GetFileAttributes(nullptr));
}

TEST(MutexTable, HandsOutTheLowestFreeSlot) {
  std::array<MutexSlot*, 64> aMutex{};
  for (MutexSlot*& pMutex : aMutex) {
    ASSERT_NE(nullptr, pMutex = SYS_CreateMutex("0123456789012345678901234567890123456789"));
  }
  EXPECT_STREQ("0123456789012345678901234567890", aMutex[0]->acName);
  EXPECT_EQ(nullptr, SYS_CreateMutex(nullptr));

  MutexSlot* const pOld = aMutex[7];
  SYS_DestroyMutex(&aMutex[7]);
  EXPECT_EQ(nullptr, aMutex[7]);
  SYS_DestroyMutex(&aMutex[7]);
  EXPECT_EQ(SYS_LOCK_ERROR, SYS_LockMutex(pOld, 0));
  EXPECT_EQ(1, SYS_UnlockMutex(pOld));
  EXPECT_EQ(pOld, aMutex[7] = SYS_CreateMutex(nullptr));
  EXPECT_STREQ("", pOld->acName);
  for (MutexSlot*& pMutex : aMutex) {
    SYS_DestroyMutex(&pMutex);
  }
}

TEST(MutexTable, IsRecursiveAndTimesOutBetweenThreads) {
  MutexSlot* pMutex = SYS_CreateMutex("shared");
  ASSERT_EQ(0, SYS_LockMutex(pMutex, 10000));
  ASSERT_EQ(0, SYS_LockMutex(pMutex, SYS_NO_TIMEOUT));

  std::atomic<int> NumAttempts = 0;
  std::thread Other([pMutex, &NumAttempts] {
    EXPECT_EQ(1, SYS_UnlockMutex(pMutex));
    EXPECT_EQ(SYS_LOCK_TIMEOUT, SYS_LockMutex(pMutex, 0));
    const auto Start = std::chrono::system_clock::now();
    EXPECT_EQ(SYS_LOCK_TIMEOUT, SYS_LockMutex(pMutex, 50));
    EXPECT_GE(std::chrono::system_clock::now() - Start, std::chrono::milliseconds(50));
    FAULT_Arm(FAULT_CLOCK, {.First = 1});
    EXPECT_EQ(SYS_LOCK_TIMEOUT, SYS_LockMutex(pMutex, 10000)) << "no clock at the start";
    FAULT_Arm(FAULT_CLOCK, {.First = 2});
    EXPECT_EQ(SYS_LOCK_TIMEOUT, SYS_LockMutex(pMutex, 10000)) << "no clock later on";
    FAULT_Disarm();
    NumAttempts = 1;
    NumAttempts.notify_one();
    EXPECT_EQ(0, SYS_LockMutex(pMutex, SYS_NO_TIMEOUT));
    EXPECT_EQ(0, SYS_UnlockMutex(pMutex));
  });
  NumAttempts.wait(0);
  EXPECT_EQ(0, SYS_UnlockMutex(pMutex));
  SYS_Sleep(2);
  EXPECT_EQ(0, SYS_UnlockMutex(pMutex));
  Other.join();
  EXPECT_EQ(1, SYS_UnlockMutex(pMutex));
  SYS_DestroyMutex(&pMutex);
}

}  // namespace
