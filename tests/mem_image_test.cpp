// The sparse memory image, rule by rule and against a plain map of bytes.
#include <gtest/gtest.h>

#include <array>
#include <random>
#include <thread>

#include "memimage/mem_image.h"
#include "support/byte_map.h"
#include "support/faults.h"

namespace {

class Image {
 public:
  MemImage* operator->() const {
    return m_pImage;
  }
  operator MemImage*() const {
    return m_pImage;
  }
  /// Writes as many bytes as the text has.
  [[nodiscard]] int Write(uint64_t Addr, const std::string& Bytes) const {
    return MEMIMG_WriteData(m_pImage, Addr, Bytes.size(), reinterpret_cast<const uint8_t*>(Bytes.data()), -1);
  }
  [[nodiscard]] int Mark(uint64_t Addr, uint64_t NumBytes) const {
    return MEMIMG_WriteData(m_pImage, Addr, NumBytes, nullptr, -1);
  }
  /// The areas as text: hexadecimal address, '=', contents ('?' without storage), ' '.
  [[nodiscard]] std::string Areas() const {
    std::string Text;
    for (const DataArea* p = m_pImage->pFirstArea; p != nullptr; p = p->pNext) {
      std::array<char, 20> acAddr{};
      snprintf(acAddr.data(), acAddr.size(), "%llx=", static_cast<unsigned long long>(p->Addr));
      const size_t Num = static_cast<size_t>(p->NumBytes);
      Text +=
          acAddr.data() +
          (p->pData != nullptr ? std::string(p->pData, p->pData + Num) : std::string(std::min<size_t>(Num, 9), '?')) +
          " ";
    }
    return Text;
  }

 private:
  struct Free {
    void operator()(MemImage* pImage) const {
      MEMIMG_Free(pImage);
    }
  };
  std::unique_ptr<MemImage, Free> m_Owner{MEMIMG_Create()};
  MemImage* m_pImage = m_Owner.get();
};

/// What the chain promises after every operation.
void ExpectSoundChain(const MemImage& Image) {
  uint32_t NumAreas = 0;
  const DataArea* pPrev = nullptr;
  for (const DataArea* p = Image.pFirstArea; p != nullptr; pPrev = p, p = p->pNext) {
    ++NumAreas;
    ASSERT_GT(p->NumBytes, 0U);
    ASSERT_TRUE(p->pData == nullptr || p->NumBytesAlloc >= p->NumBytes);
    ASSERT_TRUE(pPrev == nullptr || pPrev->Addr + pPrev->NumBytes < p->Addr);
  }
  ASSERT_EQ(NumAreas, Image.NumAreas);
  ASSERT_TRUE(Image.pLastArea == nullptr || Image.pLastArea == pPrev);
}

TEST(MemImage, JoinsWhatTouchesAndRefusesWhatOverlaps) {
  struct {
    std::vector<std::pair<uint64_t, const char*>> Writes;  // all but the last succeed
    int LastResult;
    const char* pAreas;
  } const aCase[] = {
      {{{0x10, "ab"}, {0x12, "cd"}}, 0, "10=abcd "},
      {{{0x12, "cd"}, {0x10, "ab"}}, 0, "10=abcd "},
      {{{0x10, "ab"}, {0x16, "ef"}, {0x12, "wxyz"}}, 0, "10=abwxyzef "},
      {{{0x10, "a"}, {0x14, "longer"}, {0x11, "bcd"}}, 0, "10=abcdlonger "},
      {{{0x30, "c"}, {0x10, "a"}, {0x20, "b"}}, 0, "10=a 20=b 30=c "},
      {{{0x10, "ab"}, {0x13, "d"}, {0x11, "x"}}, -1, "10=ab 13=d "},
      {{{0x10, "ab"}, {0x10, "ab"}}, -1, "10=ab "},
      {{{0x10, "ab"}, {0x13, "d"}, {0x12, "xy"}}, -1, "10=ab 13=d "},
      {{{0x10, "ab"}, {0x0F, "xyzw"}}, -1, "10=ab "},
      {{{0x10, "ab"}, {0x0E, "xyz"}}, -1, "10=ab "},
      {{{0x10, "ab"}, {0x0E, "xy"}, {0x10, ""}}, 0, "e=xyab "},
      {{{UINT64_MAX, "z"}, {UINT64_MAX - 1, "y"}, {0, "a"}}, 0, "0=a fffffffffffffffe=yz "},
      {{{UINT64_MAX - 1, "xyz"}}, -1, ""},
      {{{UINT64_MAX, "z"}, {UINT64_MAX, "z"}}, -1, "ffffffffffffffff=z "},
  };
  for (const auto& Case : aCase) {
    const Image Img;
    Img->NumChanges = 0;
    for (const auto& [Addr, pBytes] : Case.Writes) {
      const bool IsLast = &pBytes == &Case.Writes.back().second;
      EXPECT_EQ(IsLast ? Case.LastResult : 0, Img.Write(Addr, pBytes)) << Case.pAreas;
      ExpectSoundChain(*Img);
    }
    EXPECT_EQ(Case.pAreas, Img.Areas());
    EXPECT_EQ(Case.Writes.size(), Img->NumChanges);
  }
}

TEST(MemImage, KeepsAreasWithoutStorageHonest) {
  const Image Img;
  EXPECT_EQ(0, Img.Mark(0x10, 2));
  EXPECT_EQ(0, MEMIMG_WriteData(Img, 0x20, 2, nullptr, 'f'));
  EXPECT_EQ("10=?? 20=ff ", Img.Areas());
  EXPECT_EQ(0, Img.Mark(0x12, 1));
  EXPECT_EQ(0, Img.Mark(0x22, 1));  // next to storage: storage
  EXPECT_EQ(0, Img.Mark(0x0F, 1));
  EXPECT_EQ("f=???? 20=ff\xFF ", Img.Areas());
  EXPECT_EQ(0U, Img->HasLostBytes);
  EXPECT_EQ(0, Img.Write(0x13, "x"));
  EXPECT_EQ(1U, Img->HasLostBytes);
  EXPECT_EQ("f=????? 20=ff\xFF ", Img.Areas());
  EXPECT_EQ(0, Img.Write(0x14, "abcdefghijkl"));
  EXPECT_EQ(
      "f=\xFF\xFF\xFF\xFF\xFF"
      "abcdefghijklff\xFF ",
      Img.Areas());
  EXPECT_EQ(0, Img.Mark(0x40, 3));
  EXPECT_EQ(0, Img.Mark(0x44, 1));
  EXPECT_EQ(0, Img.Mark(0x43, 1));
  EXPECT_EQ(2U, Img->NumAreas);

  std::array<uint8_t, 8> aData{};
  std::array<uint8_t, 8> aValid{};
  EXPECT_EQ(5, MEMIMG_ReadData(Img, 0x40, UINT64_MAX, 0, 0x5A, aData.data(), aValid.data(), nullptr, 8, 0, 0));
  EXPECT_EQ(0x5A, aData[4]);
  EXPECT_EQ(1, aValid[4]);
  EXPECT_EQ(0U, MEMIMG_QueueByte(Img, 0x41, 'x'));
  EXPECT_EQ(5, MEMIMG_ReadData(Img, 0x40, UINT64_MAX, 0, 0x5A, aData.data(), aValid.data(), nullptr, 8, 0, 0));
  EXPECT_EQ((std::array<uint8_t, 8>{0x5A, 'x', 0x5A, 0x5A, 0x5A}), aData);
  EXPECT_EQ((std::array<uint8_t, 8>{0, 1, 0, 0, 0}), aValid);
  EXPECT_EQ(1, MEMIMG_FlushByteCache(Img));
}

TEST(MemImage, LimitsAreasAndSurvivesFailingAllocations) {
  const Image Img;
  EXPECT_EQ(MEMIMG_ERR_NO_MEMORY, Img.Mark(0, MEMIMG_MAX_AREA_BYTES + 1));
  EXPECT_EQ(MEMIMG_ERR_NO_MEMORY, Img.Mark(0, UINT64_MAX));
  EXPECT_EQ(0, Img.Mark(0x1000, MEMIMG_MAX_AREA_BYTES - 1));
  EXPECT_EQ(0, Img.Mark(0x1000 + MEMIMG_MAX_AREA_BYTES, 1));
  EXPECT_EQ(MEMIMG_ERR_NO_MEMORY, Img.Mark(0x1000 + MEMIMG_MAX_AREA_BYTES - 1, 1)) << "would be joined";
  EXPECT_EQ(MEMIMG_ERR_NO_MEMORY, Img.Mark(0xFFE, 2));
  EXPECT_EQ(0, Img.Mark(0xFFF, 1));
  EXPECT_EQ(MEMIMG_ERR_NO_MEMORY, Img.Mark(0xFFE, 1));
  EXPECT_EQ(2U, Img->NumAreas);

  const Image Small;
  const std::string Big(200, 'b');
  EXPECT_EQ(0, Small.Write(0x100, "a"));
  EXPECT_EQ(0, Small.Mark(0x200, 2));
  EXPECT_EQ(0, Small.Write(0x300, Big));
  for (uint64_t i = 0; i < 5; ++i) {  // uses up the first records
    EXPECT_EQ(0, Small.Write(0x600 + 2 * i, "r"));
  }
  const std::string Before = Small.Areas();
  FAULT_Arm(FAULT_ALLOC, {});
  EXPECT_EQ(MEMIMG_ERR_NO_MEMORY, Small.Write(0x400, "new"));
  EXPECT_EQ(MEMIMG_ERR_NO_MEMORY, Small.Write(0x101, Big)) << "at the end";
  EXPECT_EQ(MEMIMG_ERR_NO_MEMORY, Small.Write(0x100 - 200, Big)) << "in front";
  EXPECT_EQ(MEMIMG_ERR_NO_MEMORY, Small.Write(0x101, std::string(0xFF, 'x'))) << "join with no storage";
  EXPECT_EQ(MEMIMG_ERR_NO_MEMORY, Small.Write(0x202, std::string(0xFE, 'x'))) << "join with storage";
  EXPECT_EQ(0U, MEMIMG_QueueByte(Small, 0x100, 'q')) << "dropped";
  FAULT_Arm(FAULT_ALLOC, {.First = 2});
  EXPECT_EQ(0, Small.Write(0x700, Big));
  EXPECT_TRUE(FAULT_Disarm());
  EXPECT_EQ(1U, Small->HasLostBytes);
  EXPECT_EQ(Before + "700=????????? ", Small.Areas());
  FAULT_Arm(FAULT_ALLOC, {});
  EXPECT_EQ(nullptr, MEMIMG_Create());
  FAULT_Disarm();
}

/// A read of at most 32 bytes as text: address, ':', data, ':', valid flags.
std::string Read(MemImage* pImage, uint64_t Start, uint64_t End, uint64_t MaxGap, int64_t Max, uint32_t AlignStart = 0,
                 uint32_t AlignEnd = 0) {
  std::array<uint8_t, 32> aData{};
  std::array<uint8_t, 32> aValid{};
  uint64_t Found = 0x99;
  const int64_t Num = MEMIMG_ReadData(pImage, Start, End, MaxGap, 0xF00 + '.', aData.data(), aValid.data(), &Found, Max,
                                      AlignStart, AlignEnd);
  EXPECT_EQ(Num, MEMIMG_ReadData(pImage, Start, End, MaxGap, 0, nullptr, nullptr, nullptr, Max, AlignStart, AlignEnd));
  std::array<char, 100> acText{};
  std::string Valid;
  for (int64_t i = 0; i < Num; ++i) {
    Valid += static_cast<char>('0' + aValid[static_cast<size_t>(i)]);
  }
  snprintf(acText.data(), acText.size(), "%llx:%.*s:%s", static_cast<unsigned long long>(Found), static_cast<int>(Num),
           reinterpret_cast<const char*>(aData.data()), Valid.c_str());
  return acText.data();
}

TEST(MemImage, ReadsSpansThatAreBridgedAlignedAndLimited) {
  const Image Img;
  EXPECT_EQ("99::", Read(Img, 0, UINT64_MAX, 0, 32));
  ASSERT_EQ(0, Img.Write(0x10, "abcd"));
  ASSERT_EQ(0, Img.Write(0x16, "ef"));
  ASSERT_EQ(0, Img.Write(0x21, "g"));
  ASSERT_EQ(0, Img.Write(UINT64_MAX, "z"));
  struct {
    uint64_t Start;
    uint64_t End;
    uint64_t MaxGap;
    int64_t Max;
    uint32_t AlignStart;
    uint32_t AlignEnd;
    const char* pText;
  } const aCase[] = {{0, UINT64_MAX, 0, 32, 0, 0, "10:abcd:1111"},
                     {0x12, UINT64_MAX, 0, 32, 0, 0, "12:cd:11"},
                     {0x14, UINT64_MAX, 0, 32, 0, 0, "16:ef:11"},
                     {0, UINT64_MAX, 0, 3, 0, 0, "10:abc:111"},
                     {0, 0x10, 0, 32, 0, 0, "10:a:1"},
                     {0x11, 0x12, 0, 32, 0, 0, "11:bc:11"},
                     {0, 0x0F, 0, 32, 0, 0, "99::"},
                     {0x18, 0x20, 0, 32, 0, 0, "99::"},
                     {0x13, 0x12, 0, 32, 0, 0, "99::"},
                     {0, UINT64_MAX, 1, 32, 0, 0, "10:abcd:1111"},
                     {0, UINT64_MAX, 4, 32, 0, 0, "10:abcd..ef:11110011"},
                     {0, UINT64_MAX, 4, 5, 0, 0, "10:abcd.:11110"},
                     {0, 0x16, 4, 32, 0, 0, "10:abcd..e:1111001"},
                     {0, UINT64_MAX, UINT64_MAX, 20, 0, 0, "10:abcd..ef.........g..:11110011000000000100"},
                     {UINT64_MAX, UINT64_MAX, 99, 32, 0, 0, "ffffffffffffffff:z:1"},
                     {0x17, UINT64_MAX, 0, 32, 4, 0, "10:abcd..ef:11110011"},
                     {0x21, UINT64_MAX, 0, 32, 4, 3, "20:.g......:01000000"},
                     {0x11, UINT64_MAX, 0, 2, 0, 1, "11:b:1"},
                     {0x10, UINT64_MAX, 0, 32, 0, 32, "10:abcd:1111"}};
  for (const auto& Case : aCase) {
    EXPECT_EQ(Case.pText, Read(Img, Case.Start, Case.End, Case.MaxGap, Case.Max, Case.AlignStart, Case.AlignEnd));
  }
}

TEST(MemImage, ScanningForwardVisitsEveryAreaOnce) {
  const Image Img;
  for (uint64_t i = 0; i < 100; ++i) {
    ASSERT_EQ(0, Img.Write(i * 0x10, "ab"));
  }
  for (int64_t i = 0; i < 100; ++i) {
    uint64_t Found = 0;
    EXPECT_EQ(2, MEMIMG_FindRun(Img, static_cast<uint64_t>(i) * 0x10, UINT64_MAX, &Found));
    EXPECT_EQ(i, Img->CursorIndex);
    EXPECT_EQ(Found, Img->pCursorArea->Addr);
    EXPECT_EQ("ab:11", Read(Img, Found, UINT64_MAX, 0, 32).substr(Read(Img, Found, UINT64_MAX, 0, 32).find(':') + 1));
    EXPECT_EQ(i, Img->CursorIndex) << "filling the span goes on where the search stopped";
  }
  ASSERT_EQ(-1, Img.Write(0, "x"));
  EXPECT_EQ(-1, Img->CursorIndex);
}

TEST(MemImage, CommitsPendingBytes) {
  const Image Img;
  ASSERT_EQ(0, Img.Write(0x10, "abcd"));
  const std::pair<uint64_t, uint8_t> aByte[] = {{0x11, 'x'}, {0x14, 'e'}, {0x11, 'B'}, {0x20, 'z'}};
  for (uint64_t i = 0; i < 4; ++i) {
    EXPECT_EQ(i, MEMIMG_QueueByte(Img, aByte[i].first, aByte[i].second));
  }
  EXPECT_EQ("10:aBcd:1111", Read(Img, 0, UINT64_MAX, 0, 32));
  EXPECT_EQ("10:aBcde...:11111000", Read(Img, 0, UINT64_MAX, 0, 32, 0, 3));
  EXPECT_EQ("10=abcd ", Img.Areas());
  EXPECT_EQ(0, MEMIMG_FlushByteCache(Img));
  EXPECT_EQ("10=aBcde 20=z ", Img.Areas());
  EXPECT_EQ(0U, Img->NumChanges + Img->NumPending + Img->NumPendingAlloc);
  for (uint64_t i = 0; i < 250; ++i) {  // more than one growth of the list, released with the image
    EXPECT_EQ(i, MEMIMG_QueueByte(Img, i, 1));
  }
  EXPECT_EQ(250U, Img->NumChanges);
  EXPECT_EQ(0U, MEMIMG_QueueByte(nullptr, 0, 0));
}

TEST(ImageLock, IsRecursiveAndCreatedOnFirstUse) {
  EXPECT_EQ(MEMIMG_ERR_NO_LOCK, MEMIMG_Lock(nullptr));
  std::array<MutexSlot*, 64> aMutex{};
  for (MutexSlot*& pMutex : aMutex) {
    pMutex = SYS_CreateMutex(nullptr);
  }
  const Image Img;
  EXPECT_EQ(nullptr, Img->hLock);
  EXPECT_EQ(MEMIMG_ERR_NO_LOCK, MEMIMG_Lock(Img));
  EXPECT_EQ(0U, MEMIMG_QueueByte(Img, 5, 'x')) << "goes on without the lock";
  EXPECT_EQ(0, MEMIMG_FlushByteCache(Img));
  for (MutexSlot*& pMutex : aMutex) {
    SYS_DestroyMutex(&pMutex);
  }
  EXPECT_EQ(0, MEMIMG_Lock(Img));
  EXPECT_EQ(0, MEMIMG_Lock(Img));
  std::thread Other([&Img] {
    EXPECT_EQ(1, MEMIMG_Unlock(Img));
    FAULT_Arm(FAULT_CLOCK, {});  // without a clock the wait ends at once instead of after ten seconds
    EXPECT_EQ(MEMIMG_ERR_TIMEOUT, MEMIMG_Lock(Img));
    FAULT_Disarm();
  });
  Other.join();
  EXPECT_EQ(0, MEMIMG_Unlock(Img));
  EXPECT_EQ(0, MEMIMG_Unlock(Img));
  EXPECT_EQ(1, MEMIMG_Unlock(Img));

  std::thread Writer([&Img] {
    for (uint64_t i = 0; i < 1000; ++i) {
      MEMIMG_QueueByte(Img, i, 1);
    }
  });
  for (int i = 0; i < 1000; ++i) {
    MEMIMG_FlushByteCache(Img);
  }
  Writer.join();
  MEMIMG_FlushByteCache(Img);
  EXPECT_EQ(1000U, BytesOf(Img).size());
}

struct RandomCase {
  uint64_t Base;
  uint64_t Range;
  uint64_t MaxBytes;
  int NumWrites;
  bool WithFaults;
};

class MemImageRandom : public testing::TestWithParam<RandomCase> {};

/// Random writes over a small range of addresses: every join, refusal and growth happens many times.
TEST_P(MemImageRandom, AgreesWithAPlainMap) {
  const RandomCase& Case = GetParam();
  std::mt19937_64 Random(Case.Range * 31 + Case.MaxBytes);
  const auto Below = [&Random](uint64_t Limit) { return Random() % Limit; };
  for (int Round = 0; Round < 20; ++Round) {
    const Image Img;
    ByteMap Map;
    const int Order = Round % 4;  // ascending, descending, shuffled, mixed
    for (int i = 0; i < Case.NumWrites; ++i) {
      const uint64_t Step = Case.Range / static_cast<uint64_t>(Case.NumWrites) * static_cast<uint64_t>(i);
      const uint64_t Ordered = Order == 0 ? Step : Case.Range - 1 - Step;
      const uint64_t Addr = Case.Base + (Order >= 2 && (Order == 2 || i % 2 == 0) ? Below(Case.Range) : Ordered);
      std::vector<uint8_t> Bytes(Below(Case.MaxBytes) + 1);
      std::generate(Bytes.begin(), Bytes.end(), [&] { return static_cast<uint8_t>(Random()); });
      const bool IsPastTop = Addr + (Bytes.size() - 1) < Addr;
      const int Seed = static_cast<int>(Below(9)) + 1;
      if (Case.WithFaults && Below(2) == 0) {
        FAULT_Arm(FAULT_ALLOC, {.First = Seed, .Every = 2});
      }
      const int Result = MEMIMG_WriteData(Img, Addr, Bytes.size(), Bytes.data(), -1);
      if (FAULT_Disarm() && (Result == MEMIMG_ERR_NO_MEMORY || Img->HasLostBytes != 0)) {
        if (Img->HasLostBytes != 0) {
          break;  // what the image holds from here on is not what was written, and it says so
        }
        continue;
      }
      ASSERT_EQ(!IsPastTop && AddBytes(&Map, Addr, Bytes) ? 0 : MEMIMG_ERR_OVERLAP, Result);
      if (i % 64 == 0) {
        ExpectSoundChain(*Img);
      }
    }
    ExpectSoundChain(*Img);
    if (Img->HasLostBytes == 0) {
      ASSERT_TRUE(Map == BytesOf(Img));
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Sizes, MemImageRandom,
                         testing::Values(RandomCase{0, 3000, 40, 2000, false}, RandomCase{0, 60000, 4, 40000, false},
                                         RandomCase{UINT64_MAX - 5000, 5010, 16, 2000, false},
                                         RandomCase{0xFFFFF000, 200000, 300, 2000, false},
                                         RandomCase{0, 60000, 4, 20000, true}, RandomCase{0, 90000, 300, 2000, true}));

}  // namespace
