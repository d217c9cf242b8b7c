#include "support/harness.h"

#include <getopt.h>
#include <signal.h>
#include <sys/time.h>
#include <sys/wait.h>

#include "check/terminal.h"

namespace {

/// Makes a folder for each test, and removes it afterwards.
class Folder : public testing::EmptyTestEventListener {
  void OnTestStart(const testing::TestInfo&) override {
    m_Path = testing::TempDir() + "blockfit-XXXXXX";
    EXPECT_NE(nullptr, mkdtemp(m_Path.data()));
    std::filesystem::current_path(m_Path);
  }
  void OnTestEnd(const testing::TestInfo&) override {
    std::filesystem::current_path(testing::TempDir());
    std::filesystem::remove_all(m_Path);
  }
  std::string m_Path;
};

const bool IS_LISTENING = (testing::UnitTest::GetInstance()->listeners().Append(new Folder), true);

/// If a sanitizer finds an error, the program must not look as if it had failed properly.
const bool IS_STRICT = (setenv("ASAN_OPTIONS", "exitcode=99", 0), setenv("UBSAN_OPTIONS", "exitcode=99", 0), true);

thread_local FaultKind Armed = FAULT_NONE;
thread_local Fault How;
thread_local int NumCalls = 0;

/// Counts a call. Returns whether it must fail.
bool IsHit(FaultKind Kind) {
  if (Kind != Armed || ++NumCalls < How.First || NumCalls > How.Last) {
    return false;
  }
  if (How.Error == FAULT_KILL) {
    raise(SIGKILL);
  }
  errno = How.Error;
  return true;
}

/// Returns how many of NumBytes a read or write may handle, or -1 if it must fail. Half of one byte is one byte: a read
/// of no bytes would mean the end of the file.
ssize_t Allowed(FaultKind Kind, size_t NumBytes) {
  if (!IsHit(Kind)) {
    return static_cast<ssize_t>(NumBytes);
  }
  return How.Error == 0 ? static_cast<ssize_t>(NumBytes + 1) / 2 : -1;
}

}  // namespace

std::string RunShell(const std::string& Script) {
  return Finish(popen(Script.c_str(), "r"));  // NOLINT(cert-env33-c): a shell is wanted
}

std::string Finish(FILE* pOutput, std::string Printed) {
  for (int c = 0; (c = std::getc(pOutput)) != EOF;) {
    Printed += static_cast<char>(c);
  }
  const int Status = pclose(pOutput);
  return std::to_string(WIFEXITED(Status) ? WEXITSTATUS(Status) : -Status) + " " + Printed;
}

void FAULT_Arm(FaultKind Kind, const Fault& Which) {
  Armed = Kind;
  How = Which;
  NumCalls = 0;
}

bool FAULT_Disarm() {
  Armed = FAULT_NONE;
  return std::exchange(NumCalls, 0) >= How.First;
}

std::string RunWithFault(int (*pfRun)(int, char**), std::vector<std::string> Args, FaultKind Kind, const Fault& Which,
                         bool* pHasFired) {
  const pid_t Child = fork();
  if (Child == 0) {
    char* apArg[9] = {};
    std::transform(Args.begin(), Args.end(), apArg, [](std::string& Arg) { return Arg.data(); });
    const bool IsOpen = std::freopen("out", "w", stdout) != nullptr && std::freopen("err", "w", stderr) != nullptr;
    std::setvbuf(stderr, nullptr, _IONBF, 0);  // as it is when a program starts
    std::set_new_handler(CHECK_StopWithoutMemory);
    optind = 0;  // getopt_long starts anew
    FAULT_Arm(Kind, Which);
    const int Status = pfRun(static_cast<int>(Args.size()), apArg);
    _exit(Status + (FAULT_Disarm() ? 8 : 0) + (IsOpen ? 0 : 16));
  }
  int Status = 0;
  EXPECT_EQ(Child, waitpid(Child, &Status, 0));
  EXPECT_TRUE(WIFEXITED(Status) || WTERMSIG(Status) == SIGKILL);
  *pHasFired = WIFSIGNALED(Status) || WEXITSTATUS(Status) >= 8 || WEXITSTATUS(Status) == CHECK_UNREADABLE;
  return std::to_string(WEXITSTATUS(Status) % 8) + ReadFile("err") + ReadFile("out");
}

void operator delete(void* pBlock) noexcept {
  std::free(pBlock);
}

void operator delete(void* pBlock, size_t) noexcept {
  std::free(pBlock);
}

extern "C" {

#pragma GCC diagnostic ignored "-Wmissing-declarations"

void* __real_malloc(size_t NumBytes);
void* __real_realloc(void* pBlock, size_t NumBytes);
int __real_open64(const char* pPath, int Flags, mode_t Mode);
ssize_t __real_read(int hFile, void* pBuffer, size_t NumBytes);
ssize_t __real_write(int hFile, const void* pBuffer, size_t NumBytes);
int __real_rename(const char* pFrom, const char* pTo);
int __real_close(int hFile);
int __real_gettimeofday(timeval* pTime, void* pZone);

void* __wrap_malloc(size_t NumBytes) {
  return IsHit(FAULT_ALLOC) ? nullptr : __real_malloc(NumBytes);
}

void* __wrap_realloc(void* pBlock, size_t NumBytes) {
  return IsHit(FAULT_ALLOC) ? nullptr : __real_realloc(pBlock, NumBytes);
}

int __wrap_open64(const char* pPath, int Flags, mode_t Mode) {
  const bool IsBad = IsHit(FAULT_OPEN);
  const int hFile = IsBad && How.Error != FAULT_AWAY ? -1 : __real_open64(pPath, Flags, Mode);
  if (IsBad && hFile >= 0 && std::rename(pPath, "away") == 0) {
    close(__real_open64(pPath, Flags, Mode));
  }
  return hFile;
}

ssize_t __wrap_read(int hFile, void* pBuffer, size_t NumBytes) {
  const ssize_t Num = Allowed(FAULT_READ, NumBytes);
  return Num < 0 ? -1 : __real_read(hFile, pBuffer, static_cast<size_t>(Num));
}

ssize_t __wrap_write(int hFile, const void* pBuffer, size_t NumBytes) {
  const ssize_t Num = Allowed(FAULT_WRITE, NumBytes);
  if (Num < 0 && How.Error <= FAULT_DAMAGE) {
    std::string Bytes(static_cast<const char*>(pBuffer), NumBytes);
    const size_t End = Bytes.find('\n', 100);
    std::swap_ranges(&Bytes[End - 7], &Bytes[End - 5], &Bytes[How.Error == FAULT_DAMAGE ? End - 5 : End - 7]);
    Bytes[End - 1] = How.Error == FAULT_LINE_END ? '\n' : '\r';
    return __real_write(hFile, Bytes.data(), NumBytes);
  }
  return Num < 0 ? -1 : __real_write(hFile, pBuffer, static_cast<size_t>(Num));
}

int __wrap_fsync(int) {
  return IsHit(FAULT_MOVE) ? -1 : 0;  // no test cuts the power
}

int __wrap_rename(const char* pFrom, const char* pTo) {
  return IsHit(FAULT_MOVE) ? -1 : __real_rename(pFrom, pTo);
}

int __wrap_close(int hFile) {
  const int Result = __real_close(hFile);
  return IsHit(FAULT_CLOSE) ? -1 : Result;
}

int __wrap_gettimeofday(timeval* pTime, void* pZone) {
  return IsHit(FAULT_CLOCK) ? -1 : __real_gettimeofday(pTime, pZone);
}

}  // extern "C"

/// The C++ library's own would call its own malloc. Without a handler, the caller is a test, whose memory never fails.
void* operator new(size_t NumBytes) {
  for (;;) {
    const std::new_handler pfHandler = std::get_new_handler();
    void* pBlock = pfHandler != nullptr ? std::malloc(NumBytes) : __real_malloc(NumBytes);
    if (pBlock != nullptr) {
      return pBlock;
    }
    pfHandler();
  }
}
