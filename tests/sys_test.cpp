// Paths, files, directories and the mutex table.
#include <chrono>
#include <csignal>

#include "support/harness.h"
#include "sys/file.h"
#include "sys/mutex_table.h"
#include "sys/path.h"

namespace {

using std::chrono::system_clock;

TEST(Path, IsSplitAtTheLastSlashAndTheLastDot) {
  char acPart[4][8] = {"?"};
  SYS_SplitPath(nullptr, {acPart[0], 8}, {acPart[1], 8}, {acPart[2], 8}, {acPart[3], 4});
  EXPECT_STREQ("?", acPart[0]);
  SYS_SplitPath("a.b/.c/d.e.fgh", {acPart[0], 8}, {acPart[1], 8}, {acPart[2], 8}, {acPart[3], 4});
  EXPECT_EQ("a.b/.c/|d.e|.fg", acPart[0] + std::string(acPart[1]) + "|" + acPart[2] + "|" + acPart[3]);
}

bool Closes(int64_t hFile) {
  return SYS_FileClose(static_cast<uint32_t>(hFile)) == 0;
}

TEST(File, IsOpenedAsTheFlagsSay) {
  constexpr uint32_t NEW = SYS_OPEN_CREATE | SYS_OPEN_TRUNCATE | SYS_OPEN_EXCLUSIVE;
  const std::tuple<const char*, uint32_t, const char*> aCase[] = {
      {"f", SYS_OPEN_READ, "abc"},
      {"f", SYS_OPEN_SHARE | SYS_OPEN_EXCLUSIVE, "abc"},
      {"f", SYS_OPEN_WRITE, "xyc"},
      {"f", SYS_OPEN_WRITE | SYS_OPEN_AT_END, "abcxy"},
      {"f", SYS_OPEN_READ | SYS_OPEN_WRITE | SYS_OPEN_TRUNCATE, "xy"},
      {"f", SYS_OPEN_WRITE | NEW, "abc"},
      {"new", SYS_OPEN_WRITE, "(no file)"},
      {"a/new", SYS_OPEN_WRITE | SYS_OPEN_CREATE, "(no file)"},
      {"new", SYS_OPEN_WRITE | NEW, "xy"}};
  for (const auto& [pPath, Flags, pContents] : aCase) {
    WriteFile("f", "abc");
    const uint32_t hFile = static_cast<uint32_t>(SYS_FileOpen(pPath, Flags));
    char c = 0;
    EXPECT_EQ((Flags & SYS_OPEN_WRITE) != 0 && (Flags & SYS_OPEN_READ) == 0, SYS_FileRead(hFile, &c, 0) < 0) << Flags;
    EXPECT_GE(2, SYS_FileWrite(hFile, "xy", 2));
    SYS_FileClose(hFile);
    EXPECT_EQ(pContents, ReadFile(pPath)) << Flags;
  }
}

TEST(File, IsCreatedWithItsFoldersInTheHomeDirectory) {
  constexpr uint32_t OUTPUT = SYS_OPEN_WRITE | SYS_OPEN_CREATE | SYS_OPEN_TRUNCATE;
  const std::string Home = std::filesystem::current_path() / "home";
  setenv("HOME", Home.c_str(), 1);
  const mode_t Mask = umask(0);
  EXPECT_TRUE(Closes(SYS_OpenFileEx(("~" + std::string(510 - Home.size(), '/') + "cut").c_str(), OUTPUT)));
  umask(Mask);
  EXPECT_EQ(std::filesystem::perms{0777}, std::filesystem::status("home").permissions());
  EXPECT_EQ(std::filesystem::perms{0644}, std::filesystem::status("home/c").permissions());
  unsetenv("HOME");
  EXPECT_TRUE(Closes(SYS_OpenFileEx("~", SYS_OPEN_READ))) << "the home directory from the user database";
  EXPECT_EQ(SYS_NO_FILE, SYS_OpenFileEx("", OUTPUT));
  EXPECT_EQ(SYS_NO_FILE, SYS_OpenFileEx(nullptr, SYS_OPEN_READ));
}

TEST(File, IsTriedAgainAfterADelay) {
  signal(SIGALRM, [](int) {});
  ualarm(5000, 0);  // the sleep continues after this signal
  const auto Start = system_clock::now();
  FAULT_Arm(FAULT_OPEN, {.Last = 2});
  EXPECT_TRUE(Closes(SYS_OpenFileRetry("/dev/null", SYS_OPEN_READ, 2, 20)));
  EXPECT_GE(system_clock::now() - Start, std::chrono::milliseconds(40));
  FAULT_Arm(FAULT_OPEN, {.Last = 3});
  EXPECT_EQ(SYS_NO_FILE, SYS_OpenFileRetry("/dev/null", SYS_OPEN_READ, 2, 0));
  FAULT_Disarm();
}

TEST(Directory, IsCreatedWithItsParentsToTheGivenDepth) {
  WriteFile("file", "");
  EXPECT_EQ(-1, SYS_CreateDirectory("a/b/c//", 2));
  EXPECT_EQ(0, SYS_CreateDirectory("a/b/c//", 3));
  EXPECT_EQ(0, SYS_CreateDirectory("a/b/c", 1));
  EXPECT_EQ(-1, SYS_CreateDirectory("a/b/c", 0));
  EXPECT_EQ(-1, SYS_CreateDirectory("file", 9));
  EXPECT_EQ(-1, SYS_CreateDirectory("file/x", 9));
  EXPECT_EQ(-1, SYS_CreateDirectory("/proc/none", 9));
  EXPECT_EQ(-1, SYS_CreateDirectory(nullptr, 9));
  EXPECT_EQ(SYS_ATTR_DIRECTORY | SYS_ATTR_READ_ONLY, SYS_GetFileAttributes("/proc"));
  EXPECT_EQ(-1, SYS_GetFileAttributes("/dev/null"));
  EXPECT_EQ(0, SYS_GetFileAttributes(nullptr));
}

TEST(MutexTable, HandsOutTheLowestFreeSlot) {
  std::array<MutexSlot*, 64> aMutex{};
  for (MutexSlot*& pMutex : aMutex) {
    ASSERT_NE(nullptr, pMutex = SYS_CreateMutex("0123456789012345678901234567890123456789"));
  }
  EXPECT_STREQ("0123456789012345678901234567890", aMutex[0]->acName.data());
  EXPECT_EQ(MEMIMG_ERR_NO_LOCK, MEMIMG_Lock(NewImage().get())) << "no slot is free";
  MutexSlot* const pOld = aMutex[7];
  SYS_DestroyMutex(&aMutex[7]);
  EXPECT_EQ(nullptr, aMutex[7]);
  EXPECT_EQ(SYS_LOCK_ERROR, SYS_LockMutex(pOld, 0));
  EXPECT_EQ(1, SYS_UnlockMutex(pOld));
  EXPECT_EQ(pOld, aMutex[7] = SYS_CreateMutex(nullptr));
  for (MutexSlot*& pMutex : aMutex) {
    SYS_DestroyMutex(&pMutex);
    SYS_DestroyMutex(&pMutex);
    EXPECT_EQ(SYS_LOCK_ERROR, SYS_LockMutex(pMutex, 0));
  }
}

TEST(MutexTable, IsRecursiveAndTimesOutBetweenThreads) {
  MutexSlot* pMutex = SYS_CreateMutex("shared");
  ASSERT_EQ(0, SYS_LockMutex(pMutex, 10000));
  ASSERT_EQ(0, SYS_LockMutex(pMutex, SYS_NO_TIMEOUT));
  std::thread([pMutex] {
    EXPECT_EQ(1, SYS_UnlockMutex(pMutex));
    const auto Start = system_clock::now();
    EXPECT_EQ(SYS_LOCK_TIMEOUT, SYS_LockMutex(pMutex, 50));
    EXPECT_GE(system_clock::now() - Start, std::chrono::milliseconds(50));
    for (const int First : {1, 2}) {  // no clock at the start, or none later
      FAULT_Arm(FAULT_CLOCK, {.First = First});
      EXPECT_EQ(SYS_LOCK_TIMEOUT, SYS_LockMutex(pMutex, 10000));
    }
  }).join();
  std::thread Other([pMutex] {
    EXPECT_EQ(0, SYS_LockMutex(pMutex, SYS_NO_TIMEOUT));
    EXPECT_EQ(0, SYS_UnlockMutex(pMutex));
  });
  EXPECT_EQ(0, SYS_UnlockMutex(pMutex));
  EXPECT_EQ(0, SYS_UnlockMutex(pMutex));
  Other.join();
  EXPECT_EQ(1, SYS_UnlockMutex(pMutex));
  SYS_DestroyMutex(&pMutex);
}

}  // namespace
