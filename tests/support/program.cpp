#include "support/program.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <ctime>
#include <fstream>
#include <sstream>

TempDir::TempDir() {
  std::string Template = testing::TempDir() + "blockfit-XXXXXX";
  m_Dir = mkdtemp(Template.data());
}

TempDir::~TempDir() {
  std::filesystem::remove_all(m_Dir);
}

std::string TempDir::Path(const std::string& Name) const {
  return m_Dir / Name;
}

void TempDir::Write(const std::string& Name, const std::string& Bytes) const {
  std::filesystem::create_directories(std::filesystem::path(Path(Name)).parent_path());
  std::ofstream(Path(Name), std::ios::binary) << Bytes;
}

std::optional<std::string> TempDir::Read(const std::string& Name) const {
  std::ifstream File(Path(Name), std::ios::binary);
  if (!File) {
    return std::nullopt;
  }
  std::ostringstream Bytes;
  Bytes << File.rdbuf();
  return Bytes.str();
}

Program::Program(const TempDir& Dir, const std::vector<std::string>& Args,
                 const std::vector<std::string>& Environment) {
  std::array<int, 2> aIn{};
  std::array<int, 2> aOut{};
  EXPECT_EQ(0, pipe2(aIn.data(), O_CLOEXEC) | pipe2(aOut.data(), O_CLOEXEC));
  m_Pid = fork();
  if (m_Pid == 0) {
    std::vector<char*> Arguments{const_cast<char*>(BLOCKFIT_PROGRAM)};
    for (const std::string& Arg : Args) {
      Arguments.push_back(const_cast<char*>(Arg.c_str()));
    }
    Arguments.push_back(nullptr);
    for (const std::string& Variable : Environment) {
      putenv(const_cast<char*>(Variable.c_str()));
    }
    if (chdir(Dir.Path("").c_str()) == 0 && dup2(aIn[0], 0) == 0 && dup2(aOut[1], 1) == 1) {
      execv(BLOCKFIT_PROGRAM, Arguments.data());
    }
    _exit(127);
  }
  close(aIn[0]);
  close(aOut[1]);
  m_In = aIn[1];
  m_Out = aOut[0];
}

bool Program::ReadSome() {
  std::array<char, 4096> acBuffer{};
  const ssize_t Num = read(m_Out, acBuffer.data(), acBuffer.size());
  if (Num > 0) {
    m_Output.append(acBuffer.data(), static_cast<size_t>(Num));
  }
  return Num > 0;
}

bool Program::WaitForOutput(const std::string& Text) {
  while (m_Output.find(Text) == std::string::npos) {
    if (!ReadSome()) {
      return false;
    }
  }
  return true;
}

void Program::SendInput(const std::string& Text) const {
  EXPECT_EQ(static_cast<ssize_t>(Text.size()), write(m_In, Text.data(), Text.size()));
}

int Program::Finish() {
  close(m_In);
  while (ReadSome()) {
  }
  close(m_Out);
  int Status = 0;
  EXPECT_EQ(m_Pid, waitpid(m_Pid, &Status, 0));
  return WIFEXITED(Status) ? WEXITSTATUS(Status) : -WTERMSIG(Status);
}

std::string Program::Messages() const {
  const std::string Title = "VORNEX conditioner for drag & drop programming files V1.00 (compiled ";
  const std::string Usage =
      ")\n\nhttps://vornex.example/blockfit\n\n"
      "Usage: Blockfit [-BaseAddr <Addr>] <InputFile>\n"
      "Accepts hex / mot / srec / bin files as <InputFile>\n"
      "and creates a conditioned *.srec in the directory of <InputFile>.\n"
      "<Addr> is only required for *.bin input files to specify the start address.\n\n";
  tm BuildTime{};
  const size_t UsagePos = m_Output.find(Usage);
  if (!m_Output.starts_with(Title) || UsagePos != Title.size() + 20 ||
      strptime(m_Output.c_str() + Title.size(), "%b %d %Y %H:%M:%S)", &BuildTime) == nullptr) {
    return "no banner: " + m_Output;
  }
  return m_Output.substr(UsagePos + Usage.size());
}
