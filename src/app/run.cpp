#include "app/run.h"

#include <cstdio>

#include "app/options.h"
#include "datafile/data_file.h"
#include "util/print.h"

namespace {

/// The program name, two options with their values, and the input path.
constexpr int MAX_ARGS = 6;

/// The two files of a run; either may be absent.
struct RunFiles {
  DataFile* pInput;
  DataFile* pOutput;
};

void PrintBanner() {
  UTIL_Printf("VORNEX conditioner for drag & drop programming files V" BLOCKFIT_VERSION " (compiled %s %s)\n\n",
              __DATE__, __TIME__);
  UTIL_Printf("https://vornex.example/blockfit\n\n");
  UTIL_Printf("Usage: Blockfit [-BaseAddr <Addr>] <InputFile>\n");
  UTIL_Printf(
      "Accepts hex / mot / srec / bin files as <InputFile>\n"
      "and creates a conditioned *.srec in the directory of <InputFile>.\n");
  UTIL_Printf("<Addr> is only required for *.bin input files to specify the start address.\n\n");
}

/// Takes options with their values, then the last argument as the input path. If an option takes the last argument as
/// its value, there is no input path. A single argument is the input path, whatever it looks like.
[[nodiscard]] int ParseArguments(RunSettings* pSettings, int NumArgs, const char* const* paArg) {
  if (NumArgs <= 1) {
    UTIL_PrintLine("No source file specified.");
    return -1;
  }
  if (NumArgs > MAX_ARGS) {
    UTIL_PrintLine("Too many arguments.");
    return -1;
  }
  int i = 1;
  if (NumArgs > 2) {
    do {
      const int Status = APP_ApplyOption(pSettings, paArg[i], paArg[i + 1]);
      if (Status < 0) {
        UTIL_PrintLine("Invalid argument specified.");
        return Status;
      }
      i += 2;
    } while (i < NumArgs - 1);
  }
  pSettings->pInputPath = i < NumArgs ? paArg[i] : nullptr;
  return 0;
}

void PrintIfUnsupported(int Status) {
  if (Status == DATAFILE_ERR_UNSUPPORTED) {
    UTIL_PrintLine("Unsupported file extension.");
  }
}

[[nodiscard]] int CreateInput(const RunSettings& Settings, RunFiles* pFiles) {
  int Status = 0;
  pFiles->pInput = DATAFILE_CreateFromPath(Settings.pInputPath, Settings.BaseAddr, &Status);
  if (pFiles->pInput == nullptr) {
    UTIL_Printf("Failed to open source file %s.\n", Settings.pInputPath);
    PrintIfUnsupported(Status);
  }
  return Status;
}

[[nodiscard]] int CreateOutput(const RunSettings& Settings, RunFiles* pFiles) {
  int Status = 0;
  const char* pBase = Settings.pOutputBase != nullptr ? Settings.pOutputBase : DATAFILE_GetBaseName(pFiles->pInput);
  pFiles->pOutput = DATAFILE_Create(pBase, ".srec", Settings.BaseAddr, &Status);
  if (pFiles->pOutput == nullptr) {
    UTIL_Printf("Failed to open destination file %s.\n", pBase);
    PrintIfUnsupported(Status);
  }
  return Status;
}

void PrintErrorCode(int Status) {
  UTIL_Printf("Failed with error code %d\n", Status);
}

[[nodiscard]] int Condition(const RunSettings& Settings, const RunFiles& Files) {
  UTIL_Printf("Reading source file from %s.\n", Settings.pInputPath);
  MemImage* pImage = DATAFILE_GetImage(Files.pInput);
  if (pImage == nullptr) {
    PrintErrorCode(-1);
    return -1;
  }
  UTIL_Printf("Writing destination file to %s.\n", DATAFILE_GetFileName(Files.pOutput));
  const int Status = DATAFILE_WriteConditioned(Files.pOutput, pImage, Settings.LineAlign, Settings.BlockAlign);
  if (Status < 0) {
    PrintErrorCode(Status);
  } else {
    UTIL_PrintLine("Conditioning done.");
  }
  return Status;
}

[[nodiscard]] int RunSteps(RunFiles* pFiles, int NumArgs, const char* const* paArg) {
  RunSettings Settings;
  int Status = ParseArguments(&Settings, NumArgs, paArg);
  if (Status >= 0) {
    Status = CreateInput(Settings, pFiles);
  }
  if (Status >= 0) {
    Status = CreateOutput(Settings, pFiles);
  }
  if (Status >= 0) {
    Status = Condition(Settings, *pFiles);
  }
  return Status;
}

/// Keeps the window open if the program was started by a double click.
void WaitForKey() {
  UTIL_Printf("\n\nPress any key to exit");
  std::getchar();
}

}  // namespace

int APP_Run(int NumArgs, const char* const* paArg) {
  PrintBanner();
  RunFiles Files{};
  const int Status = RunSteps(&Files, NumArgs, paArg);
  DATAFILE_Free(Files.pInput);
  DATAFILE_Free(Files.pOutput);
  if (NumArgs == 1) {
    WaitForKey();
  }
  return Status < 0 ? 1 : 0;
}
