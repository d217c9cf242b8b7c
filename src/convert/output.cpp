#include "convert/output.h"

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "check/terminal.h"
#include "srec/conditioned_writer.h"
#include "sys/file.h"
#include "sys/heap.h"
#include "sys/path.h"
#include "sys/replace.h"
#include "util/text.h"

namespace {

/// What a part has before its extension.
constexpr std::string_view PART = ".part";

/// Where the file goes.
struct Output {
  const char* pPath;   ///< As the user names it.
  std::string Target;  ///< The file itself: where pPath leads to if it is a link.
  std::string Part;    ///< The file that is written and proved, and then moved to Target.
};

[[nodiscard]] bool Fail(const std::string& Path, const std::string& Text) {
  CHECK_PrintFinding({CHECK_ERROR, Text, {Path.c_str()}});
  return false;
}

/// Fails for the reason that the system has given.
[[nodiscard]] bool FailSystem(const std::string& Path, const std::string& Text) {
  const int Error = SYS_GetLastError();
  return Fail(Path, Text + ": " + (Error != 0 ? std::strerror(Error) : "only a piece was taken: is the disk full?"));
}

/// Whether a path names the part of another output. It has an extension.
bool IsPart(const std::string& Path) {
  const std::string Name = Path.substr(0, Path.rfind('.'));
  return Name.size() > PART.size() && UTIL_CompareNoCase(Name.c_str() + Name.size() - PART.size(), PART.data()) == 0;
}

/// Whether a path names the file that an input was read from.
bool IsInput(const std::string& Path, const std::vector<CheckInput>& Inputs) {
  const SysFileState State = SYS_GetFileState(Path.c_str());
  const auto IsSame = [&](const CheckInput& Input) { return SYS_GetFileState(Input.pFile->pPath) == State; };
  return State != SysFileState{} && std::any_of(Inputs.begin(), Inputs.end(), IsSame);
}

/// Returns why a file must not be written there, or null.
const char* ObjectionTo(const Output& To, const std::vector<CheckInput>& Inputs) {
  if (CONVERT_ReaderOf(To.pPath) != DATAFILE_ReadMot || CONVERT_ReaderOf(To.Target.c_str()) != DATAFILE_ReadMot) {
    return "the name of an output, and of the file that a link leads to, ends in .srec, .s19, .s37, .s or .mot";
  }
  if (IsPart(To.Target)) {
    return "a name with .part before its extension is for unfinished files: name another output with -o";
  }
  if (To.Part.size() >= SYS_PATH_SIZE) {
    return "the name is too long";
  }
  if (IsInput(To.Target, Inputs) || IsInput(To.Part, Inputs)) {
    return "an input would be lost: name another output with -o";
  }
  return SYS_IsStandardOutput(To.Target.c_str()) ? "standard output goes to this file" : nullptr;
}

/// Proves that a file keeps what is promised for the block size, and has the bytes of the image at their addresses.
[[nodiscard]] bool Prove(const std::string& Path, MemImage* pImage, const ConditionedRules& Rules) {
  const CheckSink Silent = [](const CheckFinding&) {};  // what it warns of is known from the inputs
  CheckInput Result;
  if (CHECK_Conditioned({Path.c_str(), CHECK_PrintFinding}, Rules, {}) != CHECK_GOOD) {
    return false;
  }
  if (CHECK_OpenInput(&Result, {Path.c_str(), Silent}, {}) != CHECK_GOOD) {
    return Fail(Path, "cannot be read back");
  }
  const CheckDifference Difference = CHECK_Compare(Result.pImage.get(), pImage);
  return CHECK_IsSame(Difference) ||
         Fail(Path, CHECK_Format("not what was written, first at 0x%08" PRIX64, Difference.FirstAddr));
}

/// Writes and proves the part, which hPart has open, and moves it to the target.
[[nodiscard]] bool WritePart(const Output& To, uint32_t hPart, MemImage* pImage, const ConditionedRules& Rules,
                             uint64_t* pNumChars) {
  errno = 0;  // the writer leaves the reason here if it fails
  if (SREC_WriteConditionedEx(pImage, To.Part.c_str(), nullptr, nullptr, Rules.LineAlign, Rules.BlockSize) != 0 ||
      SYS_FileFlush(hPart) != 0) {
    return FailSystem(To.Part, "cannot be written");
  }
  *pNumChars = SYS_GetFileState(To.Part.c_str()).NumBytes;
  return Prove(To.Part, pImage, Rules) &&
         (SYS_ReplaceFile(To.Part.c_str(), To.Target.c_str()) == 0 || FailSystem(To.pPath, "cannot be replaced"));
}

}  // namespace

ReadFn CONVERT_ReaderOf(const char* pPath) {
  const char* pExt = std::strrchr(pPath, '.');
  for (const FormatHandler& Row : DATAFILE_EXTENSIONS) {
    if (pExt != nullptr && UTIL_CompareNoCase(pExt, Row.pExt) == 0) {
      return Row.pfRead;
    }
  }
  return nullptr;
}

bool CONVERT_Write(MemImage* pImage, const char* pPath, const ConditionedRules& Rules,
                   const std::vector<CheckInput>& Inputs, uint64_t* pNumChars) {
  const std::unique_ptr<char, CheckFree<SYS_Free>> pTarget(SYS_FindTarget(pPath));
  if (pTarget == nullptr) {
    return FailSystem(pPath, "cannot be replaced");
  }
  // The writer would take a '~' at the start for the home folder.
  Output To{pPath, (*pTarget == '~' ? "./" : "") + std::string(pTarget.get()), {}};
  To.Part = To.Target;
  To.Part.insert(std::min(To.Part.rfind('.'), To.Part.size()), PART);
  const char* pObjection = ObjectionTo(To, Inputs);
  if (pObjection != nullptr) {
    return Fail(pPath, pObjection);
  }
  const int64_t hPart = SYS_OpenReplacement(To.Part.c_str(), To.Target.c_str());
  if (hPart == SYS_NO_FILE) {
    return FailSystem(To.Part, SYS_GetLastError() == EBUSY ? "another run has it" : "cannot be created");
  }
  const bool IsDone = WritePart(To, static_cast<uint32_t>(hPart), pImage, Rules, pNumChars);
  if (!IsDone) {
    std::remove(To.Part.c_str());
  }
  SYS_FileClose(static_cast<uint32_t>(hPart));  // only now, so that no other run takes the part meanwhile
  return IsDone;
}
