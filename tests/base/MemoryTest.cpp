#include <gtest/gtest.h>

#include <cstring>

#include "base/Memory.h"

TEST(CMemory, AddDataDoublesTheNeededSizeEvenOnAnExactFitAndGetbufPresizesOnce) {
    CMemory mem;
    EXPECT_EQ(mem.GetCurBuf(), nullptr);
    EXPECT_EQ(mem.AddData("0123456789", 10), 10u);
    EXPECT_EQ(mem.GetCurBuflen(), 20u);
    EXPECT_EQ(mem.AddData("abcdefghij", 10), 20u);  // 10 + 10 is not below 20: grows to 40
    EXPECT_EQ(mem.GetCurBuflen(), 40u);
    EXPECT_EQ(memcmp(mem.GetCurBuf(), "0123456789abcdefghij", 20), 0);
    EXPECT_EQ(mem.GetNextPos(), 20u);

    CMemory presized;
    void* block = presized.getbuf(7200);
    EXPECT_NE(block, nullptr);
    EXPECT_EQ(presized.GetCurBuflen(), 14400u);
    EXPECT_EQ(presized.getbuf(100), block);
    EXPECT_EQ(presized.GetCurBuflen(), 14400u);
}

TEST(CMemory, FreeBufKeepsTheAppendPositionAndManyAppendsKeepEveryByte) {
    CMemory mem;
    mem.AddData("abcd", 4);
    mem.FreeBuf();
    EXPECT_EQ(mem.GetNextPos(), 4u);
    EXPECT_EQ(mem.GetCurBuflen(), 0u);
    EXPECT_EQ(mem.GetCurBuf(), nullptr);
    mem.m_curpos = 0;  // callers reset the position before re-using the buffer
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
}
