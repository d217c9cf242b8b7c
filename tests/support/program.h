/// Runs the built program as a user does, in a folder of its own.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

/// A folder that is gone when the object is.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  [[nodiscard]] std::string Path(const std::string& Name) const;
  void Write(const std::string& Name, const std::string& Bytes) const;
  [[nodiscard]] std::optional<std::string> Read(const std::string& Name) const;

 private:
  std::filesystem::path m_Dir;
};

/// The program while it runs, standard input and output on pipes.
class Program {
 public:
  Program(const TempDir& Dir, const std::vector<std::string>& Args, const std::vector<std::string>& Environment = {});

  /// Reads output until it ends with or contains the text; returns whether that came.
  bool WaitForOutput(const std::string& Text);
  void SendInput(const std::string& Text) const;
  /// Waits for the end. Returns the exit status, or minus the signal that ended it.
  int Finish();

  /// What was printed so far.
  [[nodiscard]] const std::string& Output() const {
    return m_Output;
  }
  /// The same behind the banner, which has to be there.
  [[nodiscard]] std::string Messages() const;

 private:
  bool ReadSome();

  pid_t m_Pid = 0;
  int m_In = -1;
  int m_Out = -1;
  std::string m_Output;
};
