// The sparse memory image, rule by rule and against a plain map of bytes.
#include "memimage/mem_image.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <random>
#include <thread>

#include "support/byte_map.h"
#include "support/faults.h"

namespace {

constexpr uint64_t TOP = UINT64_MAX;

class Image : public testing::Test {
 protected:
  /// Writes as many bytes as the text has.
  int Write(uint64_t Addr, const std::string& Bytes) {
    return MEMIMG_WriteData(m_pImage, Addr, Bytes.size(), reinterpret_cast<const uint8_t*>(Bytes.data()), -1);
  }
  int Mark(uint64_t Addr, uint64_t NumBytes) {
    return MEMIMG_WriteData(m_pImage, Addr, NumBytes, nullptr, -1);
  }
  /// A read as RunsOf shows it, '_' for what is not valid.
  std::string Read(uint64_t Start, uint64_t End = TOP, uint64_t MaxGap = 0, int64_t Max = 32, uint32_t StartBits = 0,
                   uint32_t EndBits = 0) {
    uint8_t aData[32];
    uint8_t aValid[32];
    uint64_t Found = 0;
    ByteMap Map;
    const int64_t Num =
        MEMIMG_ReadData(m_pImage, Start, End, MaxGap, 0xF00 + '.', aData, aValid, &Found, Max, StartBits, EndBits);
    for (size_t i = 0; i < static_cast<size_t>(Num); ++i) {
      Map[Found + i] = aData[i] == '.' && aValid[i] == 0 ? '_' : aData[i];
    }
    return RunsOf(Map);
  }

  const std::shared_ptr<MemImage> m_Owner = NewImage();
  MemImage* const m_pImage = m_Owner.get();
};

TEST_F(Image, KeepsAreasWithoutStorageHonest) {
  EXPECT_EQ(0, Mark(0x10, 2));
  EXPECT_EQ(0, MEMIMG_WriteData(m_pImage, 0x20, 2, nullptr, 'f'));
  EXPECT_EQ(0, Mark(0x12, 1));
  EXPECT_EQ(0, Mark(0x22, 1));  // next to storage: storage
  EXPECT_EQ(0, Mark(0x0F, 1));
  EXPECT_EQ(0U, m_pImage->HasLostBytes);
  EXPECT_EQ(0, Write(0x13, "x"));
  EXPECT_EQ(1U, m_pImage->HasLostBytes);
  EXPECT_EQ(" f=?????", RunsOf(BytesOf(m_pImage)).substr(0, 8));
  FAULT_Arm(FAULT_ALLOC, {});
  EXPECT_EQ(MEMIMG_ERR_NO_MEMORY, Write(0x14, "abcdefghijkl"));
  FAULT_Disarm();
  EXPECT_EQ(0, Write(0x14, "abcdefghijkl"));
  EXPECT_EQ(0, Mark(0x40, 3));
  EXPECT_EQ(0, Mark(0x44, 1));
  EXPECT_EQ(0, Mark(0x43, 1));
  EXPECT_EQ(" f=\xFF\xFF\xFF\xFF\xFF" + std::string("abcdefghijklff\xFF 40=?????"), RunsOf(BytesOf(m_pImage)));
  EXPECT_EQ(" 40=.....", Read(0x40));
  MEMIMG_QueueByte(m_pImage, 0x41, 'x');
  EXPECT_EQ(" 40=_x___", Read(0x40));
  EXPECT_EQ(1, MEMIMG_FlushByteCache(m_pImage));
  MEMIMG_QueueByte(m_pImage, 0x45, 'x');
  EXPECT_EQ(1, MEMIMG_FlushByteCache(m_pImage));
}

TEST_F(Image, LimitsItsAreasAndCountsItsWrites) {
  constexpr uint64_t MAX = MEMIMG_MAX_AREA_BYTES;
  EXPECT_EQ(MEMIMG_ERR_NO_MEMORY, Mark(0, MAX + 1));
  EXPECT_EQ(0, Mark(0x1000, MAX - 1));
  EXPECT_EQ(0, Mark(0x1000 + MAX, 1));
  EXPECT_EQ(MEMIMG_ERR_NO_MEMORY, Mark(0x1000 + MAX - 1, 1)) << "would be joined";
  EXPECT_EQ(MEMIMG_ERR_NO_MEMORY, Mark(0xFFE, 2));
  EXPECT_EQ(0, Mark(0xFFF, 1));
  EXPECT_EQ(MEMIMG_ERR_NO_MEMORY, Mark(0x1001 + MAX, MAX));
  EXPECT_EQ(MEMIMG_ERR_OVERLAP, Mark(0x1001 + MAX, TOP));
  EXPECT_EQ(0, Mark(0x1000, 0));
  EXPECT_EQ(10U, m_pImage->NumChanges) << "a new image counts as changed";
}

TEST_F(Image, IsReadInSpansThatAreBridgedAlignedAndLimited) {
  EXPECT_EQ("", Read(0));
  ASSERT_EQ(0, Write(0x10, "abcd") | Write(0x16, "ef") | Write(0x21, "g") | Write(TOP, "z"));
  EXPECT_EQ(" 10=abcd", Read(0));
  EXPECT_EQ(" 12=cd", Read(0x12));
  EXPECT_EQ(" 16=ef", Read(0x14));
  EXPECT_EQ(" 10=a", Read(0, 0x10));
  EXPECT_EQ(" 11=bc", Read(0x11, 0x12));
  EXPECT_EQ("", Read(0x18, 0x20));
  EXPECT_EQ("", Read(0x13, 0x12));
  EXPECT_EQ("", Read(0x10, TOP, 0, 0));
  EXPECT_EQ(" 10=abc", Read(0, TOP, 0, 3));
  EXPECT_EQ(" 10=abcd", Read(0, TOP, 1));
  EXPECT_EQ(" 10=abcd__ef", Read(0, TOP, 2));
  EXPECT_EQ(" 10=abcd_", Read(0, TOP, 4, 5));
  EXPECT_EQ(" 10=abcd__e", Read(0, 0x16, 4));
  EXPECT_EQ(" 10=abcd__ef_________g__", Read(0, TOP, TOP, 20));
  EXPECT_EQ(" ffffffffffffffff=z", Read(TOP, TOP, 99));
  EXPECT_EQ(" 10=abcd__ef", Read(0x17, TOP, 0, 32, 4));
  EXPECT_EQ(" 20=_g______", Read(0x21, TOP, 0, 32, 4, 3));
  EXPECT_EQ(" 11=b", Read(0x11, TOP, 0, 2, 0, 1));
  EXPECT_EQ(" 10=abcd", Read(0x10, TOP, 0, 32, 0, 32));
}

TEST_F(Image, CommitsPendingBytes) {
  ASSERT_EQ(0, Write(0x10, "abcd"));
  FAULT_Arm(FAULT_ALLOC, {});
  EXPECT_EQ(nullptr, MEMIMG_Create());
  EXPECT_EQ(0U, MEMIMG_QueueByte(m_pImage, 0x10, 'q')) << "dropped";
  FAULT_Disarm();
  uint64_t NumBefore = 0;
  for (const auto& [Addr, Value] : {std::pair{0x11U, 'x'}, {0x14U, 'e'}, {0x11U, 'B'}, {0x20U, 'z'}}) {
    EXPECT_EQ(NumBefore++, MEMIMG_QueueByte(m_pImage, Addr, static_cast<uint8_t>(Value)));
  }
  EXPECT_EQ(" 10=aBcd", Read(0));
  EXPECT_EQ(" 10=aBcde___", Read(0, TOP, 0, 32, 0, 3));
  EXPECT_EQ(0, MEMIMG_FlushByteCache(m_pImage));
  EXPECT_EQ(" 10=aBcde 20=z", RunsOf(BytesOf(m_pImage)));
  EXPECT_EQ(0U, m_pImage->NumChanges + m_pImage->NumPending + m_pImage->NumPendingAlloc);
  MEMIMG_QueueByte(m_pImage, 0x40, 'q');  // the list is released with the image
}

class ImageLock : public Image {};

TEST_F(ImageLock, IsRecursiveAndCreatedOnFirstUse) {
  SYS_DestroyMutex(&m_pImage->hLock);
  std::array<MutexSlot*, 64> aMutex{};
  std::generate(aMutex.begin(), aMutex.end(), [] { return SYS_CreateMutex(nullptr); });
  EXPECT_EQ(MEMIMG_ERR_NO_LOCK, MEMIMG_Lock(m_pImage));
  for (MutexSlot*& pMutex : aMutex) {
    SYS_DestroyMutex(&pMutex);
  }
  EXPECT_EQ(0, MEMIMG_Lock(m_pImage));
  EXPECT_EQ(0, MEMIMG_Lock(m_pImage));
  std::thread([this] {
    EXPECT_EQ(1, MEMIMG_Unlock(m_pImage));
    FAULT_Arm(FAULT_CLOCK, {});  // without a clock the wait ends at once instead of after ten seconds
    EXPECT_EQ(MEMIMG_ERR_TIMEOUT, MEMIMG_Lock(m_pImage));
  }).join();
  EXPECT_EQ(0, MEMIMG_Unlock(m_pImage));
  EXPECT_EQ(0, MEMIMG_Unlock(m_pImage));
  EXPECT_EQ(1, MEMIMG_Unlock(m_pImage));
}

TEST_F(ImageLock, GuardsPendingBytes) {
  const auto QueueAndCommit = [this](uint64_t First) {
    for (uint64_t i = First; i < 2000; i += 2) {
      EXPECT_GT(2000U, MEMIMG_QueueByte(m_pImage, i, 1));
      EXPECT_EQ(0, i % 500 < 2 ? MEMIMG_FlushByteCache(m_pImage) : 0);
    }
  };
  std::thread Other(QueueAndCommit, 0);
  QueueAndCommit(1);
  Other.join();
  EXPECT_EQ(0, MEMIMG_FlushByteCache(m_pImage));
  EXPECT_EQ(2000U, BytesOf(m_pImage).size());
}

/// Writes of MinBytes to MaxBytes bytes, one a slot of SlotBytes from Base on.
struct RandomCase {
  uint64_t Base, SlotBytes, MinBytes, MaxBytes;
};

/// Writes to slot 0, Step, 2 * Step and so on, round the range: every join, refusal and growth happens many times.
void ExpectLikeAMap(const RandomCase& Case, uint64_t Step, FaultKind What) {
  constexpr uint64_t NUM_SLOTS = 4001;
  std::mt19937_64 Random(Step);
  const auto pImage = NewImage();
  ByteMap Map;
  for (uint64_t i = 0; i < NUM_SLOTS; ++i) {
    const uint64_t Addr = Case.Base + i * Step % NUM_SLOTS * Case.SlotBytes;
    std::vector<uint8_t> Bytes(Case.MinBytes + Random() % (Case.MaxBytes - Case.MinBytes + 1));
    std::generate(Bytes.begin(), Bytes.end(), std::ref(Random));
    const int Call = Random() % 2 == 0 ? 1 : 2;
    FAULT_Arm(What, {.First = Call, .Last = Call});
    const int Result = MEMIMG_WriteData(pImage.get(), Addr, Bytes.size(), Bytes.data(), -1);
    if (!FAULT_Disarm() || Result != MEMIMG_ERR_NO_MEMORY) {
      const bool IsWritten = Bytes.size() - 1 <= TOP - Addr && AddBytes(&Map, Addr, Bytes);
      ASSERT_EQ(IsWritten ? 0 : MEMIMG_ERR_OVERLAP, Result);
    }
  }
  uint32_t NumAreas = 0;
  for (const DataArea* p = pImage->pFirstArea; p != nullptr; p = p->pNext, ++NumAreas) {
    ASSERT_TRUE(p->pNext == nullptr || AREA_LastOf(*p) + 1 < p->pNext->Addr) << "in order, and apart";
  }
  ASSERT_EQ(NumAreas, pImage->NumAreas);
  ASSERT_TRUE(Map == BytesOf(pImage.get()));
  ASSERT_EQ(int64_t{NumAreas} - 1, pImage->CursorIndex);
}

TEST(ImageRandom, AgreesWithAPlainMap) {
  for (const RandomCase& Case : {RandomCase{0, 4, 4, 4}, {0, 8, 1, 10}, {TOP - 32000, 8, 1, 10}, {0, 100, 98, 101}}) {
    for (const uint64_t Step : {1U, 4000U, 2U, 3999U, 787U}) {  // up, down, every other one up and down, scattered
      ExpectLikeAMap(Case, Step, FAULT_NONE);
      ExpectLikeAMap(Case, Step, FAULT_ALLOC);
    }
  }
}

}  // namespace
