/// What the fuzz targets demand.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include "readers/text_window.h"
#include "support/reference_decoder.h"

/// Ends the target, which keeps the input as a finding, unless the property holds.
inline void Require(bool Holds) {
  if (!Holds) {
    std::abort();
  }
}

using TextReadFn = int (*)(MemImage* pImage, const char* pPath, char* pErrText, uint32_t ErrTextSize);
using DecodeFn = std::optional<ByteMap> (*)(const std::string& Text);

/// Requires that the text, as a file in memory, is read to these bytes, or refused where there are none.
inline void RequireReads(TextReadFn pfRead, const std::string& Text, const std::optional<ByteMap>& Expected) {
  const int hFile = memfd_create("input", MFD_CLOEXEC);
  Require(write(hFile, Text.data(), Text.size()) == static_cast<ssize_t>(Text.size()));
  MemImage* pImage = MEMIMG_Create();
  std::array<char, 256> acError{};
  const int Status = pfRead(pImage, ("/proc/self/fd/" + std::to_string(hFile)).c_str(), acError.data(), acError.size());
  Require(Expected ? Status == 0 && BytesOf(pImage) == Expected : Status < 0);
  Require((Status == 0) == (acError[0] == '\0'));
  MEMIMG_Free(pImage);
  close(hFile);
}

/// Requires that a text reader takes exactly what an independent decoder takes, and stores the same bytes.
inline int FuzzTextReader(TextReadFn pfRead, DecodeFn pfDecode, std::string Text) {
  const std::optional<ByteMap> Expected = pfDecode(Text);
  RequireReads(pfRead, Text, Expected);
  // Line ends more behind the first one change nothing of what a text says. In one text of 32 (it is slow) there are so
  // many more that the first, second or third edge of the reader's window lies at some place in the rest.
  const size_t Random = std::hash<std::string>{}(Text);
  const size_t LineEnd = Text.find('\n');
  if (Random % 32 == 0 && LineEnd < Text.size() && Text.size() < READ_WINDOW_SIZE) {
    const size_t Edge = READ_WINDOW_SIZE * (1 + Random / 32 % 3);
    const size_t NumBehindEdge = Random / 128 % (Text.size() - LineEnd);
    RequireReads(pfRead, Text.insert(LineEnd, Edge + NumBehindEdge - Text.size(), '\n'), Expected);
  }
  return 0;
}
