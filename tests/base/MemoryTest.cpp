#include <gtest/gtest.h>

#include <cstring>

#include "base/Memory.h"

TEST(CMemory, AddDataDoublesTheNeededSizeAndGrowsEvenOnAnExactFit) {
    CMemory mem;
    EXPECT_EQ(mem.GetCurBuflen(), 0u);
    EXPECT_EQ(mem.GetCurBuf(), nullptr);
    const char a[10] = {'0', '1', '2', '3', '4', '5', '6', '7', '8', '9'};
    const char b[10] = {'a', 'b', 'c', 'd', 'e', 'f', 'g', 'h', 'i', 'j'};
    EXPECT_EQ(mem.AddData(a, 10), 10u);
    EXPECT_EQ(mem.GetCurBuflen(), 20u);
    EXPECT_EQ(mem.AddData(b, 10), 20u);  // 10 + 10 is not below 20: grows to 40
    EXPECT_EQ(mem.GetCurBuflen(), 40u);
    EXPECT_EQ(memcmp(mem.GetCurBuf(), "0123456789abcdefghij", 20), 0);
    EXPECT_EQ(mem.GetNextPos(), 20u);
}

TEST(CMemory, GetbufPresizesOnceAndKeepsALargerBlock) {
    CMemory mem;
    void* block = mem.getbuf(7200);
    EXPECT_NE(block, nullptr);
    EXPECT_EQ(mem.GetCurBuflen(), 14400u);
    EXPECT_EQ(mem.getbuf(100), block);
    EXPECT_EQ(mem.GetCurBuflen(), 14400u);
}

TEST(CMemory, FreeBufKeepsTheAppendPositionAndAppendingAfterwardsStillWorks) {
    CMemory mem;
    mem.AddData("abcd", 4);
    mem.FreeBuf();
    EXPECT_EQ(mem.GetNextPos(), 4u);
    EXPECT_EQ(mem.GetCurBuflen(), 0u);
    EXPECT_EQ(mem.GetCurBuf(), nullptr);
    // Callers reset the position before re-using the buffer.
    mem.m_curpos = 0;
    EXPECT_EQ(mem.AddData("xy", 2), 2u);
    EXPECT_EQ(memcmp(mem.GetCurBuf(), "xy", 2), 0);
}

TEST(CMemory, ManyAppendsKeepEveryByte) {
    CMemory mem;
    unsigned char chunk[1400];
    for (int i = 0; i < 100; ++i) {
        memset(chunk, i, sizeof(chunk));
        ASSERT_EQ(mem.AddData(chunk, sizeof(chunk)), (i + 1) * sizeof(chunk));
    }
    const unsigned char* buf = static_cast<const unsigned char*>(mem.GetCurBuf());
    for (int i = 0; i < 100; ++i) {
        ASSERT_EQ(buf[i * 1400], i);
        ASSERT_EQ(buf[i * 1400 + 1399], i);
    }
    EXPECT_GT(mem.GetCurBuflen(), mem.GetNextPos());
}
