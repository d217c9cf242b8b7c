/// The consumer as a program: reads a conditioned file block by block and lists its data.
#include <inttypes.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "consumer.h"

enum { EXIT_OK = 0, EXIT_BROKEN = 1, EXIT_TROUBLE = 2 };

enum { MIN_BLOCK_SIZE = 34, MAX_BLOCK_SIZE = 1024 * 1024 };

typedef struct {
  const char* pPath;
  unsigned long BlockSize;
} Settings;

static char acBlock[MAX_BLOCK_SIZE];

static int Usage(const char* pProblem) {
  fprintf(
      stderr,
      "consumer: %s\n"
      "Usage: consumer [--block-size N] FILE\n"
      "Lists the address and bytes of every record in the conditioned file FILE.\n"
      "  --block-size N  the file's block size, even, %d to %d (default 8192)\n"
      "N IS DECIMAL here, while the option values of Blockfit are hexadecimal: its -BlockAlign 0x1000 is 4096 here.\n"
      "Exit status: 0 ok, 1 a block breaks a rule, 2 wrong usage, or a file that cannot be read or written.\n",
      pProblem, MIN_BLOCK_SIZE, MAX_BLOCK_SIZE);
  return EXIT_TROUBLE;
}

/// Parses an even decimal block size, digits only. pText may be null. Returns 0 for success, -1 for anything else.
static int ParseBlockSize(const char* pText, unsigned long* pValue) {
  if (pText == NULL || *pText == '\0' || strspn(pText, "0123456789") != strlen(pText)) {
    return -1;
  }
  // A number too large for the type becomes the type's largest value, which is odd.
  *pValue = strtoul(pText, NULL, 10);
  return *pValue >= MIN_BLOCK_SIZE && *pValue <= MAX_BLOCK_SIZE && *pValue % 2 == 0 ? 0 : -1;
}

/// Fills pSettings from the arguments. Returns null, or the text of what is wrong with them.
static const char* ParseArguments(char** apArgs, Settings* pSettings) {
  for (apArgs++; *apArgs != NULL; apArgs++) {
    if (strcmp(*apArgs, "--block-size") == 0) {
      if (ParseBlockSize(*++apArgs, &pSettings->BlockSize) != 0) {
        return "--block-size takes an even decimal number";
      }
    } else if (**apArgs == '-') {
      return "unknown option";
    } else if (pSettings->pPath != NULL) {
      return "more than one file";
    } else {
      pSettings->pPath = *apArgs;
    }
  }
  return pSettings->pPath == NULL ? "no file" : NULL;
}

static int ListRecord(void* pContext, uint32_t Address, const uint8_t* pData, size_t NumBytes) {
  (void)pContext;
  printf("%08" PRIX32 " ", Address);
  for (size_t i = 0; i < NumBytes; i++) {
    printf("%02X", (unsigned)pData[i]);
  }
  putchar('\n');
  return 0;
}

static int Broken(const Settings* pSettings, uint64_t Offset, const char* pText) {
  fprintf(stderr, "%s: offset %" PRIu64 ": %s\n", pSettings->pPath, Offset, pText);
  return EXIT_BROKEN;
}

/// Reads the file block by block, up to its end or the first broken rule. Returns the exit status.
static int ReadBlocks(FILE* pFile, const Settings* pSettings) {
  uint64_t BlockStart = 0;
  ConsumerStatus Status = CONSUMER_MORE;
  for (;;) {
    const size_t NumChars = fread(acBlock, 1, pSettings->BlockSize, pFile);
    if (ferror(pFile)) {
      perror(pSettings->pPath);
      return EXIT_TROUBLE;
    }
    if (NumChars == 0) {
      return Status == CONSUMER_END ? EXIT_OK : Broken(pSettings, BlockStart, "no end record");
    }
    if (Status == CONSUMER_END) {
      return Broken(pSettings, BlockStart, "text after the end record");
    }
    ConsumerError Error;
    Status = CONSUMER_ReadBlock(acBlock, NumChars, ListRecord, NULL, &Error);
    if (Status < 0) {
      return Broken(pSettings, BlockStart + Error.Offset, Error.pText);
    }
    BlockStart += NumChars;
  }
}

int main(int NumArgs, char** apArgs) {
  Settings Set = {.BlockSize = 8192};
  const char* pProblem = NumArgs < 1 ? "no file" : ParseArguments(apArgs, &Set);
  if (pProblem != NULL) {
    return Usage(pProblem);
  }
  FILE* pFile = fopen(Set.pPath, "rb");
  if (pFile == NULL) {
    perror(Set.pPath);
    return EXIT_TROUBLE;
  }
  int Result = ReadBlocks(pFile, &Set);
  fclose(pFile);
  if (fflush(stdout) != 0 || ferror(stdout)) {
    perror("standard output");
    Result = EXIT_TROUBLE;
  }
  return Result;
}
