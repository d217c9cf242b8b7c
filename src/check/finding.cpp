#include "check/finding.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace {

constexpr const char* LEFT_OUT = "...";

/// How much of a long line is shown before the place, so that most excerpts begin where their line does; and in all.
constexpr int MAX_BEFORE = 70;
constexpr int MAX_SHOWN = CHECK_MAX_EXCERPT - 6;

bool IsLineEnd(uint8_t Byte) {
  return Byte == '\n' || Byte == '\r';
}

/// Finds the line of a byte. LF, CR LF and a CR that no LF follows end a line. Returns false if the file cannot be read
/// up to there.
[[nodiscard]] bool FindLine(const CheckSource& Source, uint64_t Offset, CheckPlace* pPlace) {
  uint8_t Previous = 0;
  pPlace->Line = 1;
  for (uint64_t At = 0; At < Offset;) {
    const CheckBytes Piece = CHECK_ReadAgain(Source, At);
    for (uint32_t i = 0; i < Piece.NumBytes && At < Offset; ++i) {
      const uint8_t Byte = Piece.aByte[i];
      ++At;
      if (IsLineEnd(Byte)) {
        pPlace->Line += Byte == '\n' && Previous == '\r' ? 0 : 1;
        pPlace->LineOffset = At;
      }
      Previous = Byte;
    }
    if (Piece.NumBytes == 0) {
      return false;
    }
  }
  return true;
}

/// Shows the line or, if it is too long, what fits of it around the place.
void PutExcerpt(const CheckSource& Source, uint64_t Offset, CheckPlace* pPlace) {
  const uint64_t First = std::max(pPlace->LineOffset, Offset - std::min<uint64_t>(Offset, CHECK_MAX_EXCERPT));
  const CheckBytes Piece = CHECK_ReadAgain(Source, First);
  std::array<char, 8 * CHECK_MAX_EXCERPT + 8> acText;
  char* pEnd = acText.data();
  char* pMark = pEnd;
  for (uint32_t i = 0; i < Piece.NumBytes && i < 2 * CHECK_MAX_EXCERPT && !IsLineEnd(Piece.aByte[i]); ++i) {
    pEnd = CHECK_PutVisible(pEnd, Piece.aByte[i]);
    pMark = First + i < Offset ? pEnd : pMark;
  }
  const int Mark = static_cast<int>(pMark - acText.data());
  const int Len = static_cast<int>(pEnd - acText.data());
  const bool IsFromStart = First == pPlace->LineOffset;
  const bool Fits = IsFromStart && Len <= static_cast<int>(CHECK_MAX_EXCERPT);
  const int From = Fits ? 0 : std::max(Mark - MAX_BEFORE, 0);
  const int To = Fits ? Len : std::min(From + MAX_SHOWN, Len);
  const char* pBefore = IsFromStart && From == 0 ? "" : LEFT_OUT;
  std::snprintf(pPlace->acExcerpt.data(), pPlace->acExcerpt.size(), "%s%.*s%s", pBefore, To - From,
                acText.data() + From, To == Len ? "" : LEFT_OUT);
  pPlace->MarkColumn = static_cast<uint32_t>(std::strlen(pBefore)) + static_cast<uint32_t>(Mark - From);
}

}  // namespace

void CHECK_Report(const CheckSink& Sink, CheckLevel Level, const char* pText, const CheckSource& Source,
                  uint64_t Offset) {
  Sink.pfFound(Sink.pContext, {Level, pText, CHECK_FindPlace(Source, Offset), {}});
}

CheckPlace CHECK_FindPlace(const CheckSource& Source, uint64_t Offset) {
  CheckPlace Place{};
  if (Offset == READ_NOWHERE || !CHECK_IsRegular(Source) || !FindLine(Source, Offset, &Place)) {
    return {};
  }
  PutExcerpt(Source, Offset, &Place);
  return Place;
}

CheckBytes CHECK_ReadAgain(const CheckSource& Source, uint64_t Offset) {
  CheckBytes Piece{};
  const bool IsSame = CHECK_IsRegular(Source) && SYS_GetFileState(Source.pPath) == Source.State;
  std::FILE* pFile = IsSame ? std::fopen(Source.pPath, "rbe") : nullptr;
  if (pFile != nullptr) {
    if (fseeko(pFile, static_cast<off_t>(Offset), SEEK_SET) == 0) {
      Piece.NumBytes = static_cast<uint32_t>(std::fread(Piece.aByte.data(), 1, Piece.aByte.size(), pFile));
    }
    std::fclose(pFile);
  }
  return Piece;
}

char* CHECK_PutVisible(char* pText, uint8_t Byte) {
  const bool IsPrintable = Byte >= ' ' && Byte <= '~';
  return pText + std::snprintf(pText, 5, IsPrintable ? "%c" : "\\x%02X", Byte);
}
