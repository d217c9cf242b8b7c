/// What the checks find in a file, with the line that it is about, and how they hand it to whoever shows it.
#pragma once

#include <array>
#include <cstdint>

#include "readers/read_notes.h"
#include "sys/file.h"

/// How a check ends.
enum CheckStatus {
  CHECK_GOOD = 0,
  CHECK_BAD = 1,         ///< The file is refused, breaks a promise or differs.
  CHECK_UNREADABLE = 2,  ///< The file cannot be read, or its extension is unknown.
};

enum CheckLevel {
  CHECK_NOTE,     ///< All is well, but this is worth knowing.
  CHECK_WARNING,  ///< Data may be missing or wrong.
  CHECK_ERROR,    ///< The file is refused, cannot be read or breaks a promise.
};

/// A file as it was before the first reading.
struct CheckSource {
  const char* pPath;   ///< Borrowed.
  SysFileState State;  ///< All 0 for a pipe, for example, which gives its bytes only once.
};

inline CheckSource CHECK_SourceOf(const char* pPath) {
  return {pPath, SYS_GetFileState(pPath)};
}

/// Whether the file can be read again.
inline bool CHECK_IsRegular(const CheckSource& Source) {
  return Source.State != SysFileState{};
}

/// The longest excerpt, in characters.
constexpr uint32_t CHECK_MAX_EXCERPT = 100;

/// A place in a file.
struct CheckPlace {
  uint64_t Line;        ///< As an editor counts, from 1; 0: none, or the file cannot be read again.
  uint64_t LineOffset;  ///< Of the line's first byte.
  /// The line, or what fits of it around the place, as printable ASCII; "..." stands for what is left out.
  std::array<char, CHECK_MAX_EXCERPT + 1> acExcerpt;
  uint32_t MarkColumn;  ///< Characters of the excerpt before the place.
};

/// One finding, borrowed for the call.
struct CheckFinding {
  CheckLevel Level;
  const char* pText;  ///< One line.
  CheckPlace Place;
  CheckPlace FirstPlace;  ///< Of an overlap: where its address was first defined.
};

/// Receives findings.
struct CheckSink {
  void (*pfFound)(void* pContext, const CheckFinding& Finding);
  void* pContext;
};

/// Reports a text about the byte at Offset of the file, which may be its end; READ_NOWHERE: about the complete file.
/// O(Offset).
void CHECK_Report(const CheckSink& Sink, CheckLevel Level, const char* pText, const CheckSource& Source,
                  uint64_t Offset);

/// Finds the place of the byte at Offset. READ_NOWHERE has none. O(Offset).
CheckPlace CHECK_FindPlace(const CheckSource& Source, uint64_t Offset);

/// Bytes of a file.
struct CheckBytes {
  std::array<uint8_t, 32768> aByte;
  uint32_t NumBytes;
};

/// Reads a piece of the file from Offset on. It is empty at the end of the file, and if the file cannot be read again
/// or is no longer the one that was read first.
CheckBytes CHECK_ReadAgain(const CheckSource& Source, uint64_t Offset);

/// Puts a byte into a text: itself, or, where it is not printable ASCII, a backslash, an x and its two digits.
/// Returns the end of it.
char* CHECK_PutVisible(char* pText, uint8_t Byte);
