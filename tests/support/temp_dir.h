/// A folder for the files of one test, which works in it. It is gone when the object is.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

class TempDir {
 public:
  TempDir() {
    EXPECT_NE(nullptr, mkdtemp(m_Dir.data()));
    std::filesystem::current_path(m_Dir);
  }
  ~TempDir() {
    std::filesystem::current_path(testing::TempDir());
    std::filesystem::remove_all(m_Dir);
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

 private:
  std::string m_Dir = testing::TempDir() + "blockfit-XXXXXX";
};

inline void WriteFile(const std::string& Path, const std::string& Bytes) {
  std::ofstream(Path, std::ios::binary) << Bytes;
}

/// Returns the bytes of a file, or "(no file)".
inline std::string ReadFile(const std::string& Path) {
  std::ifstream File(Path, std::ios::binary);
  return File ? std::string(std::istreambuf_iterator<char>(File), {}) : "(no file)";
}
