// What each step of a run costs on its own: decoding, storing, reading out, encoding, writing.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <numeric>
#include <random>
#include <vector>

#include "memimage/mem_image.h"
#include "outstream/out_stream.h"
#include "srec/conditioned_writer.h"
#include "srec/record.h"
#include "util/hex_digits.h"

namespace {

constexpr uint32_t READ_BYTES = 16;   // Per record, as other tools write it.
constexpr uint32_t WRITE_BYTES = 32;  // Per record, as this tool writes it.
constexpr uint32_t BUFFER_BYTES = 64 * 1024;
constexpr uint32_t FIRST_ADDR = 0x08000000;

enum Order : int64_t { ASCENDING, DESCENDING, SHUFFLED };

std::mt19937 SeededRandom() {
  return std::mt19937(20);  // NOLINT(cert-msc32-c,cert-msc51-cpp): the same data on every run
}

std::vector<uint8_t> RandomBytes(size_t NumBytes) {
  std::mt19937 Random = SeededRandom();
  std::vector<uint8_t> aByte(NumBytes);
  std::generate(aByte.begin(), aByte.end(), [&Random] { return static_cast<uint8_t>(Random()); });
  return aByte;
}

/// Addresses of NumRecords records of READ_BYTES bytes with Gap bytes between them.
std::vector<uint64_t> Addresses(int64_t WhichOrder, int64_t NumRecords, int64_t Gap) {
  std::vector<uint64_t> aAddr(static_cast<size_t>(NumRecords));
  for (uint64_t i = 0; i < aAddr.size(); ++i) {
    aAddr[i] = FIRST_ADDR + i * (READ_BYTES + static_cast<uint64_t>(Gap));
  }
  if (WhichOrder == DESCENDING) {
    std::reverse(aAddr.begin(), aAddr.end());
  } else if (WhichOrder == SHUFFLED) {
    std::shuffle(aAddr.begin(), aAddr.end(), SeededRandom());
  }
  return aAddr;
}

/// Returns an image that holds a record at each address, owned by the caller; null if a write failed.
MemImage* StoreAll(const std::vector<uint64_t>& aAddr, const std::vector<uint8_t>& aData) {
  MemImage* pImage = MEMIMG_Create();
  for (const uint64_t Addr : aAddr) {
    if (MEMIMG_WriteData(pImage, Addr, READ_BYTES, aData.data(), -1) != 0) {
      MEMIMG_Free(pImage);
      return nullptr;
    }
  }
  return pImage;
}

MemImage* StoreAscending(int64_t NumRecords, int64_t Gap) {
  return StoreAll(Addresses(ASCENDING, NumRecords, Gap), RandomBytes(READ_BYTES));
}

void CountRecords(benchmark::State& State, int64_t NumRecords, uint32_t NumBytes) {
  State.SetItemsProcessed(State.iterations() * NumRecords);
  State.SetBytesProcessed(State.iterations() * NumRecords * NumBytes);
}

void DecodeDigits(benchmark::State& State) {
  const std::vector<uint8_t> aByte = RandomBytes(BUFFER_BYTES);
  std::vector<char> acDigits(2 * aByte.size());
  uint8_t Ignored = 0;
  UTIL_EncodeHex(aByte.data(), BUFFER_BYTES, acDigits.data(), &Ignored);
  const std::vector<uint8_t> aDigits(acDigits.begin(), acDigits.end());
  std::array<uint8_t, READ_BYTES> aDecoded{};
  uint32_t NumBytes = READ_BYTES;
  while (State.KeepRunning()) {
    uint8_t Sum = 0;
    benchmark::DoNotOptimize(NumBytes);
    for (uint32_t i = 0; i < BUFFER_BYTES; i += READ_BYTES) {
      if (!UTIL_DecodeHex(&aDigits[2UL * i], NumBytes, aDecoded.data(), &Sum)) {
        State.SkipWithError("not decoded");
      }
      benchmark::DoNotOptimize(aDecoded);
    }
    benchmark::DoNotOptimize(Sum);
  }
  CountRecords(State, BUFFER_BYTES / READ_BYTES, READ_BYTES);
}
BENCHMARK(DecodeDigits);

void EncodeRecord(benchmark::State& State) {
  const std::vector<uint8_t> aByte = RandomBytes(BUFFER_BYTES);
  OutStream* pStream = OUTSTREAM_Create("/dev/null", nullptr, 0);
  int32_t NumBytes = WRITE_BYTES;
  while (State.KeepRunning()) {
    benchmark::DoNotOptimize(NumBytes);
    for (uint32_t i = 0; i < BUFFER_BYTES; i += WRITE_BYTES) {
      SREC_EncodeRecord(pStream, SREC_TYPE_DATA32, FIRST_ADDR + i, NumBytes, &aByte[i]);
    }
  }
  OUTSTREAM_Close(pStream);
  CountRecords(State, BUFFER_BYTES / WRITE_BYTES, WRITE_BYTES);
}
BENCHMARK(EncodeRecord);

/// An image's complete life, including its release.
void Store(benchmark::State& State) {
  const std::vector<uint64_t> aAddr = Addresses(State.range(0), State.range(1), State.range(2));
  const std::vector<uint8_t> aData = RandomBytes(READ_BYTES);
  while (State.KeepRunning()) {
    MemImage* pImage = StoreAll(aAddr, aData);
    if (pImage == nullptr) {
      State.SkipWithError("not stored");
    }
    MEMIMG_Free(pImage);
  }
  CountRecords(State, State.range(1), READ_BYTES);
}
BENCHMARK(Store)
    ->ArgNames({"order", "records", "gap"})
    ->ArgsProduct({{ASCENDING, DESCENDING, SHUFFLED}, {32 << 10, 128 << 10, 512 << 10}, {0, 8}})
    ->Unit(benchmark::kMillisecond);

void ReadOut(benchmark::State& State) {
  MemImage* pImage = StoreAscending(State.range(0), State.range(1));
  std::array<uint8_t, WRITE_BYTES> aData{};
  while (State.KeepRunning()) {
    uint64_t Addr = 0;
    int64_t NumBytes = 0;
    do {
      Addr += static_cast<uint64_t>(NumBytes);
      NumBytes = MEMIMG_ReadData(pImage, Addr, UINT64_MAX, 0, 0xFF, aData.data(), nullptr, &Addr, WRITE_BYTES, 0, 0);
      benchmark::DoNotOptimize(aData);
    } while (NumBytes != 0);
  }
  MEMIMG_Free(pImage);
  CountRecords(State, State.range(0), READ_BYTES);
}
BENCHMARK(ReadOut)->ArgNames({"records", "gap"})->ArgsProduct({{512 << 10}, {0, 8}})->Unit(benchmark::kMillisecond);

void Write(benchmark::State& State) {
  MemImage* pImage = StoreAscending(State.range(0), State.range(1));
  while (State.KeepRunning()) {
    if (SREC_WriteConditioned(pImage, "/dev/null", nullptr, 0, 8, 0x2000) != 0) {
      State.SkipWithError("not written");
    }
  }
  MEMIMG_Free(pImage);
  CountRecords(State, State.range(0), READ_BYTES);
}
BENCHMARK(Write)->ArgNames({"records", "gap"})->ArgsProduct({{512 << 10}, {0, 8}})->Unit(benchmark::kMillisecond);

}  // namespace
