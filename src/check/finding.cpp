#include "check/finding.h"

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <utility>

#include "sys/file.h"

namespace {

constexpr uint32_t PIECE_SIZE = 32768;

constexpr const char* LEFT_OUT = "...";

/// How much is shown of a line in all, and before the place, so that most excerpts begin where their line does.
constexpr uint32_t MAX_SHOWN = CHECK_MAX_EXCERPT - 6;
constexpr uint32_t MAX_BEFORE = 80;

/// Shows the line that begins at LineOffset or, if it is too long, what fits of it around Offset.
void PutExcerpt(CheckPlace* pPlace, uint64_t LineOffset, uint64_t Offset) {
  const uint64_t First = std::max(LineOffset, Offset - std::min<uint64_t>(Offset, MAX_BEFORE));
  std::string Line = CHECK_ReadAgain(pPlace->pPath, First);
  Line.resize(std::min(Line.find_first_of("\r\n"), Line.size()));
  const bool IsCut = Line.size() > MAX_SHOWN;
  Line.resize(std::min<size_t>(Line.size(), MAX_SHOWN));
  std::replace_if(
      Line.begin(), Line.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
  const std::string Before = First != LineOffset ? LEFT_OUT : "";
  pPlace->Excerpt = Before + Line + (IsCut ? LEFT_OUT : "");
  pPlace->MarkColumn = static_cast<uint32_t>(Before.size() + (Offset - First));
}

}  // namespace

std::string CHECK_Format(const char* pFormat, ...) {
  std::array<char, 256> acText;
  va_list Args;
  va_start(Args, pFormat);
  std::vsnprintf(acText.data(), acText.size(), pFormat, Args);
  va_end(Args);
  return acText.data();
}

void CHECK_Report(const CheckedFile& File, CheckLevel Level, uint64_t Offset, std::string Text) {
  File.Sink({Level, std::move(Text), CHECK_FindPlace(File.pPath, Offset)});
}

CheckPlace CHECK_FindPlace(const char* pPath, uint64_t Offset) {
  if (Offset == READ_NOWHERE || !CHECK_CanReadAgain(pPath)) {
    return {pPath};
  }
  CheckPlace Place{pPath, 1};
  uint64_t LineOffset = 0;
  char Previous = 0;
  for (uint64_t At = 0; At < Offset;) {
    const std::string Piece = CHECK_ReadAgain(pPath, At);
    if (Piece.empty()) {
      return {pPath};
    }
    for (size_t i = 0; i < Piece.size() && At < Offset; ++i) {
      ++At;
      if (Piece[i] == '\n' || Piece[i] == '\r') {  // LF, CR LF and a CR that no LF follows end a line
        Place.Line += Piece[i] == '\n' && Previous == '\r' ? 0U : 1U;
        LineOffset = At;
      }
      Previous = Piece[i];
    }
  }
  PutExcerpt(&Place, LineOffset, Offset);
  return Place;
}

bool CHECK_CanReadAgain(const char* pPath) {
  return SYS_GetFileState(pPath) != SysFileState{};
}

std::string CHECK_ReadAgain(const char* pPath, uint64_t Offset) {
  std::string Piece;
  std::FILE* pFile = CHECK_CanReadAgain(pPath) ? std::fopen(pPath, "rb") : nullptr;
  if (pFile != nullptr) {
    if (fseeko(pFile, static_cast<off_t>(Offset), SEEK_SET) == 0) {
      Piece.resize(PIECE_SIZE);
      Piece.resize(std::fread(Piece.data(), 1, PIECE_SIZE, pFile));
    }
    std::fclose(pFile);
  }
  return Piece;
}
