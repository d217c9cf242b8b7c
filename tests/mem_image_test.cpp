// The sparse memory image: rule by rule, and compared with a plain map of bytes.
#include "support/harness.h"

namespace {

constexpr uint64_t TOP = UINT64_MAX;

class Image : public testing::Test {
 protected:
  /// Writes NumBytes bytes of the text. Without a text, only marks the addresses.
  int Write(uint64_t Addr, uint64_t NumBytes, const char* pText = nullptr) {
    return MEMIMG_WriteData(m_pImage, Addr, NumBytes, reinterpret_cast<const uint8_t*>(pText), -1);
  }
  /// Reads a span. Returns it as RunsOf does, with '_' for invalid bytes, or '!' for one that has a value.
  std::string Read(uint64_t Start, uint64_t End = TOP, uint64_t MaxGap = 0, int64_t Max = 32, uint32_t StartBits = 0,
                   uint32_t EndBits = 0) {
    uint8_t aData[32];
    uint8_t aValid[32];
    uint64_t Found = 0;
    ByteMap Map;
    const int64_t Num =
        MEMIMG_ReadData(m_pImage, Start, End, MaxGap, 0xF00 + '.', aData, aValid, &Found, Max, StartBits, EndBits);
    for (size_t i = 0; i < static_cast<size_t>(Num); ++i) {
      const char Invalid = aData[i] == '.' ? '_' : '!';
      Map[Found + i] = aValid[i] != 0 ? aData[i] : static_cast<uint8_t>(Invalid);
    }
    return RunsOf(Map);
  }

  const std::shared_ptr<MemImage> m_Owner = NewImage();
  MemImage* const m_pImage = m_Owner.get();
};

TEST_F(Image, TracksAreasWithoutStorage) {
  EXPECT_EQ(0, Write(0x10, 2));
  EXPECT_EQ(0, Write(0x12, 1));
  EXPECT_EQ(0, Write(0x0F, 1));
  EXPECT_EQ(0, MEMIMG_WriteData(m_pImage, 0x20, 120, nullptr, 'f'));
  EXPECT_EQ(0, Write(0x98, 1)) << "an area next to storage gets storage";
  EXPECT_EQ(0U, m_pImage->HasLostBytes);
  EXPECT_EQ(0, Write(0x13, 1, "x"));
  EXPECT_EQ(1U, m_pImage->HasLostBytes);
  FAULT_Arm(FAULT_ALLOC, {});
  EXPECT_EQ(MEMIMG_ERR_NO_MEMORY, Write(0x14, 12, "abcdefghijkl"));
  FAULT_Disarm();
  EXPECT_EQ(0, Write(0x14, 12, "abcdefghijkl"));
  EXPECT_EQ(0, Write(0x140, 3));
  EXPECT_EQ(0, Write(0x144, 1));
  m_pImage->HasLostBytes = 0;
  EXPECT_EQ(0, Write(0x143, 1, "x"));
  EXPECT_EQ(1U, m_pImage->HasLostBytes) << "joined to areas that cannot keep it";
  EXPECT_EQ(" f=" + std::string(5, '\xFF') + "abcdefghijkl" + std::string(120, 'f') + "\xFF 140=?????",
            RunsOf(BytesOf(m_pImage)));
  EXPECT_EQ(" 140=.....", Read(0x140));
  MEMIMG_QueueByte(m_pImage, 0x141, 'x');
  EXPECT_EQ(" 140=_x___", Read(0x140));
  EXPECT_EQ(1, MEMIMG_FlushByteCache(m_pImage));
  MEMIMG_QueueByte(m_pImage, 0x145, 'x');
  EXPECT_EQ(1, MEMIMG_FlushByteCache(m_pImage));
}

TEST_F(Image, GivesStorageToAnAreaBelowAShortOne) {
  EXPECT_EQ(0, Write(0x10, 3, "abc"));
  EXPECT_EQ(0, Write(0x0F, 1, "x"));
  EXPECT_EQ(0, Write(0x0C, 2));
  EXPECT_EQ(0, Write(0x0E, 1));
  EXPECT_EQ(" c=\xFF\xFF\xFFxabc", RunsOf(BytesOf(m_pImage)));
}

TEST_F(Image, LimitsItsAreasAndCountsItsWrites) {
  constexpr uint64_t MAX = MEMIMG_MAX_AREA_BYTES;
  EXPECT_EQ(MEMIMG_ERR_NO_MEMORY, Write(0, MAX + 1));
  EXPECT_EQ(0, Write(0x1000, MAX - 1));
  EXPECT_EQ(0, Write(0x1000 + MAX, 1));
  EXPECT_EQ(MEMIMG_ERR_NO_MEMORY, Write(0x1000 + MAX - 1, 1)) << "too large when joined";
  EXPECT_EQ(MEMIMG_ERR_NO_MEMORY, Write(0xFFE, 2));
  EXPECT_EQ(0, Write(0xFFF, 1));
  EXPECT_EQ(MEMIMG_ERR_NO_MEMORY, Write(0x1001 + MAX, MAX));
  EXPECT_EQ(MEMIMG_ERR_OVERLAP, Write(0x1001 + MAX, TOP));
  EXPECT_EQ(0, Write(0x2001 + MAX, MAX));
  EXPECT_EQ(MEMIMG_ERR_NO_MEMORY, Write(0x1001 + MAX, 0x1000)) << "two areas that are too long together";
  EXPECT_EQ(0, Write(0x1000, 0));
  EXPECT_EQ(12U, m_pImage->NumChanges) << "a new image counts as changed";
}

TEST_F(Image, IsReadInSpansThatAreBridgedAlignedAndLimited) {
  EXPECT_EQ("", Read(0));
  ASSERT_EQ(0, Write(0x10, 4, "abcd"));
  ASSERT_EQ(0, Write(0x16, 2, "ef"));
  ASSERT_EQ(0, Write(0x21, 1, "g"));
  ASSERT_EQ(0, Write(TOP, 1, "z"));
  EXPECT_EQ(4, MEMIMG_ReadData(m_pImage, 0, TOP, 0, 0, nullptr, nullptr, nullptr, 32, 0, 0)) << "only counts";
  EXPECT_EQ(" 10=a", Read(0, 0x10));
  EXPECT_EQ(" 11=bc", Read(0x11, 0x12));
  EXPECT_EQ("", Read(0x18, 0x20));
  EXPECT_EQ("", Read(0x10, TOP, 0, 0));
  EXPECT_EQ("", Read(0x12, 0x11));
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
  EXPECT_EQ(" 10=abcd", Read(0x10, TOP, 4, 5, 0, 2)) << "the end is pulled back";
}

TEST_F(Image, CommitsPendingBytes) {
  ASSERT_EQ(0, Write(0x10, 4, "abcd"));
  ASSERT_EQ(0, Write(0x18, 1, "f"));
  FAULT_Arm(FAULT_ALLOC, {});
  EXPECT_EQ(nullptr, MEMIMG_Create());
  EXPECT_EQ(0U, MEMIMG_QueueByte(m_pImage, 0x10, 'q')) << "dropped";
  FAULT_Disarm();
  uint64_t NumBefore = 0;
  for (const auto& [Addr, Value] : {std::pair{0x11U, 'x'}, {0x14U, 'e'}, {0x11U, 'B'}, {0x20U, 'z'}}) {
    EXPECT_EQ(NumBefore++, MEMIMG_QueueByte(m_pImage, Addr, static_cast<uint8_t>(Value)));
  }
  EXPECT_EQ(" 10=aBcd", Read(0));
  EXPECT_EQ(" 10=aBcde___f", Read(0, TOP, 4));
  EXPECT_EQ(0, MEMIMG_FlushByteCache(m_pImage));
  EXPECT_EQ(" 10=aBcde 18=f 20=z", RunsOf(BytesOf(m_pImage)));
  EXPECT_EQ(0U, m_pImage->NumChanges + m_pImage->NumPending + m_pImage->NumPendingAlloc);
  EXPECT_EQ(0U, MEMIMG_QueueByte(nullptr, 0x40, 'q'));
  EXPECT_EQ(0U, MEMIMG_QueueByte(m_pImage, 0x40, 'q')) << "the list is released with the image";
}

class ImageLock : public Image {};

TEST_F(ImageLock, GuardsPendingBytes) {
  EXPECT_EQ(0, MEMIMG_Lock(m_pImage));
  std::thread([this] {
    EXPECT_EQ(1, MEMIMG_Unlock(m_pImage));
    FAULT_Arm(FAULT_CLOCK, {});  // without a clock, the wait ends at once instead of after ten seconds
    EXPECT_EQ(-1, MEMIMG_Lock(m_pImage));
  }).join();
  EXPECT_EQ(0, MEMIMG_Unlock(m_pImage));
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

/// When memory runs out: never, in one random allocation of every write, or from some allocation on.
enum Shortage { NO_SHORTAGE, ONCE_A_WRITE, FROM_THEN_ON };

/// NumSlots, Base, SlotBytes, MinBytes, MaxBytes: places for writes of MinBytes to MaxBytes bytes, every SlotBytes
/// addresses from Base on.
using SlotCase = std::array<uint64_t, 5>;

/// Writes to every slot once, starting in the middle and advancing by Step, or in random order if Step is 0. Every kind
/// of join, refusal and growth happens many times.
void ExpectLikeAMap(const SlotCase& Case, uint64_t Step, Shortage Memory) {
  const auto& [NumSlots, Base, SlotBytes, MinBytes, MaxBytes] = Case;
  std::mt19937_64 Random(Step);
  const auto pImage = NewImage();
  ByteMap Map;
  std::vector<uint64_t> Lost;
  std::vector<uint64_t> Slots;
  for (uint64_t i = 0; i < NumSlots; ++i) {
    Slots.push_back((NumSlots / 2 + i * std::max<uint64_t>(Step, 1)) % NumSlots);
  }
  if (Step == 0) {
    std::shuffle(Slots.begin(), Slots.end(), Random);
  }
  FAULT_Arm(FAULT_ALLOC, {.First = Memory == FROM_THEN_ON ? static_cast<int>(NumSlots / 4) : INT_MAX});
  for (const uint64_t Slot : Slots) {
    const uint64_t Addr = Base + Slot * SlotBytes;
    std::vector<uint8_t> Bytes(static_cast<size_t>(MinBytes + Random() % (MaxBytes - MinBytes + 1)));
    std::generate(Bytes.begin(), Bytes.end(), std::ref(Random));
    if (Memory == ONCE_A_WRITE) {
      const int Call = static_cast<int>(1 + Random() % 16);
      FAULT_Arm(FAULT_ALLOC, {.First = Call, .Last = Call});
    }
    const int Result = MEMIMG_WriteData(pImage.get(), Addr, Bytes.size(), Bytes.data(), -1);
    if (Memory == NO_SHORTAGE || Result != MEMIMG_ERR_NO_MEMORY) {
      const bool IsWritten = Bytes.size() - 1 <= TOP - Addr && AddBytes(&Map, Addr, Bytes);
      ASSERT_EQ(IsWritten ? 0 : MEMIMG_ERR_OVERLAP, Result);
    }
    for (uint64_t i = 0; pImage->HasLostBytes != 0 && i < Bytes.size(); ++i) {
      Lost.push_back(Addr + i);
    }
    pImage->HasLostBytes = 0;
  }
  FAULT_Disarm();
  uint32_t NumAreas = 0;
  for (const DataArea* p = pImage->pFirstArea; p != nullptr; p = p->pNext, ++NumAreas) {
    ASSERT_TRUE(p->pNext == nullptr || AREA_LastOf(*p) + 1 < p->pNext->Addr) << "in order, and not adjacent";
  }
  ASSERT_EQ(NumAreas, pImage->NumAreas);
  const ByteMap Held = BytesOf(pImage.get());
  for (const uint64_t Addr : Lost) {
    Map[Addr] = Held.at(Addr);
  }
  ASSERT_TRUE(Map == Held);
  ASSERT_EQ(int64_t{NumAreas} - 1, pImage->CursorIndex);
}

TEST(ImageRandom, AgreesWithAPlainMap) {
  constexpr uint64_t MANY = 5003;  // enough areas for an index of many pages
  constexpr uint64_t FEW = 1009;
  // Three times 43 bytes is one byte more than an area has room for in its own record.
  const SlotCase aCase[] = {{FEW, 0, 43, 43, 43},
                            {MANY, 0, 1, 1, 1},
                            {MANY, 0, 8, 1, 10},
                            {MANY, TOP - 8 * MANY + 90, 8, 1, 10},
                            {FEW, 0, 130, 124, 131}};
  for (const auto& Case : aCase) {
    for (const uint64_t Step : {uint64_t{1}, Case[0] - 1, uint64_t{2}, Case[0] - 2, uint64_t{0}}) {
      for (const Shortage Memory : {NO_SHORTAGE, ONCE_A_WRITE, FROM_THEN_ON}) {
        SCOPED_TRACE(testing::Message() << Case[1] << ' ' << Case[3] << ' ' << Step << ' ' << Memory);
        ExpectLikeAMap(Case, Step, Memory);
      }
    }
  }
}

TEST_F(Image, RefusesAWriteIfALongListGetsNoIndex) {
  for (uint64_t Addr = 0; Addr < 20; Addr += 2) {
    EXPECT_EQ(0, Write(Addr, 1, "x"));
  }
  FAULT_Arm(FAULT_ALLOC, {});
  EXPECT_EQ(MEMIMG_ERR_NO_MEMORY, Write(5, 1, "y"));
  FAULT_Disarm();
}

}  // namespace
