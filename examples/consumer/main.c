/// The consumer as a program: reads a conditioned file block by block and lists its data, or checks what it promises.
#include <inttypes.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "consumer.h"

enum { EXIT_OK = 0, EXIT_BROKEN = 1, EXIT_TROUBLE = 2 };

/// A run of data is laid out in pieces of this many bytes, counted from the run's start.
enum { PIECE_SIZE = CONSUMER_MAX_DATA_BYTES };

enum { MIN_BLOCK_SIZE = 34, MAX_BLOCK_SIZE = 1024 * 1024 };

typedef struct {
  const char* pPath;
  unsigned long BlockSize;
  unsigned long LineAlign;
  bool IsCheck;
} Settings;

/// What the promises that reach from record to record need: the records before this one, and the place in the block.
typedef struct {
  unsigned long LineAlign;
  bool IsAtBlockStart;   ///< no record of this block was seen yet
  uint32_t RunStart;     ///< address of the first byte of the latest run
  uint64_t NextAddress;  ///< the address behind the latest record; can be one more than 32 bits hold
  const char* pBroken;   ///< the promise that the refused record breaks
} PromiseCheck;

static char acBlock[MAX_BLOCK_SIZE];

static int Usage(const char* pProblem) {
  fprintf(stderr,
          "consumer: %s\n"
          "Usage: consumer [--check] [--block-size N] [--line-align N] FILE\n"
          "Lists address and bytes of every record of the conditioned file FILE.\n"
          "  --check         list nothing, check every promise of a conditioned file instead\n"
          "  --block-size N  the file's block size, even, %d to %d (default 8192)\n"
          "  --line-align N  the file's line alignment, even, from 2 on (default 8); used by --check only\n"
          "N IS DECIMAL here, while the option values of Blockfit are hexadecimal: its -BlockAlign 1000 is 4096 here.\n"
          "Exit status: 0 ok, 1 the file breaks a promise, 2 wrong usage, or a file that cannot be read or written.\n",
          pProblem, MIN_BLOCK_SIZE, MAX_BLOCK_SIZE);
  return EXIT_TROUBLE;
}

/// Parses an even decimal number from Min to Max, digits only. pText may be null. Returns false for anything else.
static bool ParseEven(const char* pText, unsigned long Min, unsigned long Max, unsigned long* pValue) {
  if (pText == NULL || *pText == '\0' || strspn(pText, "0123456789") != strlen(pText)) {
    return false;
  }
  // A number too long for the type comes out as the type's largest value, which is odd.
  *pValue = strtoul(pText, NULL, 10);
  return *pValue >= Min && *pValue <= Max && *pValue % 2 == 0;
}

/// Fills pSettings from the arguments. Returns null, or what is wrong with them.
static const char* ParseArguments(char** apArgs, Settings* pSettings) {
  for (apArgs++; *apArgs != NULL; apArgs++) {
    if (strcmp(*apArgs, "--check") == 0) {
      pSettings->IsCheck = true;
    } else if (strcmp(*apArgs, "--block-size") == 0) {
      if (!ParseEven(*++apArgs, MIN_BLOCK_SIZE, MAX_BLOCK_SIZE, &pSettings->BlockSize)) {
        return "--block-size takes an even decimal number";
      }
    } else if (strcmp(*apArgs, "--line-align") == 0) {
      if (!ParseEven(*++apArgs, 2, 0xFFFFFFFE, &pSettings->LineAlign)) {
        return "--line-align takes an even decimal number";
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

/// A record that goes on with a run begins a new piece of it, or else the second part of a piece that was cut: such a
/// part stands first in its block, and the part before it holds whole groups of LineAlign bytes.
static const char* CheckCut(const PromiseCheck* pCheck, uint32_t Address, bool IsFirstOfBlock) {
  const uint32_t NumBytesBefore = (Address - pCheck->RunStart) % PIECE_SIZE;
  if (NumBytesBefore == 0) {
    return NULL;
  }
  if (!IsFirstOfBlock) {
    return "record was cut elsewhere than at the end of a block";
  }
  return NumBytesBefore % pCheck->LineAlign == 0 ? NULL : "record was cut at no whole number of line-align bytes";
}

static int CheckRecord(void* pContext, uint32_t Address, const uint8_t* pData, size_t NumBytes) {
  PromiseCheck* pCheck = pContext;
  (void)pData;
  if (Address < pCheck->NextAddress) {
    pCheck->pBroken = "address is below the end of the record before";
  } else if (Address == pCheck->NextAddress) {
    pCheck->pBroken = CheckCut(pCheck, Address, pCheck->IsAtBlockStart);
  } else {
    pCheck->RunStart = Address;
  }
  pCheck->NextAddress = (uint64_t)Address + NumBytes;
  pCheck->IsAtBlockStart = false;
  return pCheck->pBroken == NULL ? 0 : -1;
}

/// Returns the offset of the first record that stands behind fill, or NumChars if there is none.
/// The text must have been understood: an S is the start of a record then.
static size_t FindRecordBehindFill(const char* pText, size_t NumChars) {
  bool IsFillSeen = false;
  for (size_t i = 0; i < NumChars; i++) {
    const bool IsLineStart = i == 0 || pText[i - 1] == '\n';
    if (IsLineStart && pText[i] == '\r') {
      IsFillSeen = true;
    }
    if (IsFillSeen && pText[i] == 'S') {
      return i;
    }
  }
  return NumChars;
}

/// Checks the block in acBlock against every promise. Returns the status and fills pError as CONSUMER_ReadBlock does.
static ConsumerStatus CheckBlock(PromiseCheck* pCheck, size_t NumChars, ConsumerError* pError) {
  pCheck->IsAtBlockStart = true;
  const ConsumerStatus Status = CONSUMER_ReadBlock(acBlock, NumChars, CheckRecord, pCheck, pError);
  if (Status == CONSUMER_ERR_REFUSED) {
    pError->pText = pCheck->pBroken;
  }
  const size_t Offset = FindRecordBehindFill(acBlock, pError->Offset);
  if (Offset < pError->Offset) {
    *pError = (ConsumerError){Offset, "record behind fill in the same block"};
    return CONSUMER_ERR_REFUSED;
  }
  return Status;
}

static int Broken(const Settings* pSettings, uint64_t Offset, const char* pText) {
  fprintf(stderr, "%s: offset %" PRIu64 ": %s\n", pSettings->pPath, Offset, pText);
  return EXIT_BROKEN;
}

/// Reads the file block by block, up to its end or the first broken promise. Returns the exit status.
static int ReadBlocks(FILE* pFile, const Settings* pSettings) {
  // A run that starts at address 0 goes on with an empty one there, so the first record needs no case of its own.
  PromiseCheck Check = {.LineAlign = pSettings->LineAlign};
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
      return Broken(pSettings, BlockStart, "text behind the end record");
    }
    ConsumerError Error;
    Status = pSettings->IsCheck ? CheckBlock(&Check, NumChars, &Error)
                                : CONSUMER_ReadBlock(acBlock, NumChars, ListRecord, NULL, &Error);
    if (Status < 0) {
      return Broken(pSettings, BlockStart + Error.Offset, Error.pText);
    }
    BlockStart += NumChars;
  }
}

int main(int NumArgs, char** apArgs) {
  Settings Set = {.BlockSize = 8192, .LineAlign = 8};
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
  if (Result == EXIT_OK && Set.IsCheck) {
    printf("%s: ok\n", Set.pPath);
  }
  if (fflush(stdout) != 0 || ferror(stdout)) {
    perror("standard output");
    Result = EXIT_TROUBLE;
  }
  return Result;
}
