#include "check/finding.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "sys/file.h"

namespace {

/// What fits on a screen of 80 characters after an indent, even if an escape begins with the last character.
constexpr uint32_t MAX_WIDTH = 75;

/// A line of a file, as far as it is shown.
struct SourceLine {
  uint64_t Number = 0;
  uint64_t Start = 0;  ///< Offset of its first byte.
  uint32_t Mark = 0;
  std::array<char, 4 * MAX_WIDTH + 1> acText{};  ///< A byte takes up to 4 characters.
};

bool IsLineEnd(int Byte) {
  return Byte == '\n' || Byte == '\r';
}

/// Finds the line of a byte. LF, CR LF and a CR that no LF follows end a line.
void FindLine(SourceLine* pLine, std::FILE* pFile, uint64_t Offset) {
  int Previous = 0;
  pLine->Number = 1;
  for (uint64_t Next = 1; Next <= Offset; ++Next) {
    const int Byte = std::getc(pFile);
    if (IsLineEnd(Byte)) {
      pLine->Number += Byte == '\n' && Previous == '\r' ? 0 : 1;
      pLine->Start = Next;
    }
    Previous = Byte;
  }
}

/// Takes the line's text: from its start or, where the byte at Offset is too far from that, from half a screen before.
void TakeText(SourceLine* pLine, std::FILE* pFile, uint64_t Offset) {
  const uint64_t NumBefore = Offset - pLine->Start < MAX_WIDTH ? Offset - pLine->Start : MAX_WIDTH / 2;
  char* pEnd = pLine->acText.data();
  (void)fseeko(pFile, static_cast<off_t>(Offset - NumBefore), SEEK_SET);
  for (uint64_t i = 0; i < NumBefore; ++i) {
    pEnd = CHECK_PutVisible(pEnd, static_cast<uint8_t>(std::getc(pFile)));
  }
  pLine->Mark = static_cast<uint32_t>(pEnd - pLine->acText.data());
  const char* pFull = pLine->acText.data() + MAX_WIDTH;
  for (int Byte = std::getc(pFile); Byte != EOF && !IsLineEnd(Byte) && pEnd < pFull; Byte = std::getc(pFile)) {
    pEnd = CHECK_PutVisible(pEnd, static_cast<uint8_t>(Byte));
  }
  *pEnd = '\0';
}

}  // namespace

char* CHECK_PutVisible(char* pText, uint8_t Byte) {
  const bool IsPrintable = Byte >= ' ' && Byte <= '~';
  return pText + std::snprintf(pText, 5, IsPrintable ? "%c" : "\\x%02X", Byte);
}

void CHECK_Report(const CheckSink& Sink, CheckLevel Level, const char* pText, const char* pPath, uint64_t Offset) {
  SourceLine Line;
  // A pipe gives its bytes once, and opening it again could wait for ever.
  const bool CanRead = Offset != READ_NOWHERE && SYS_IsRegularFile(pPath);
  std::FILE* pFile = CanRead ? std::fopen(pPath, "rbe") : nullptr;
  if (pFile != nullptr) {
    FindLine(&Line, pFile, Offset);
    TakeText(&Line, pFile, Offset);
    std::fclose(pFile);
  }
  Sink.pfFound(Sink.pContext, {Level, pText, Line.Number, Line.acText.data(), Line.Mark});
}
