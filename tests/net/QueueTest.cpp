#include <gtest/gtest.h>

#include <cstdlib>

#include "net/Queue.h"

namespace {
struct Item {
    QUEUE_NODE node;
    int value;
};

QUEUE_NODE* NewItem(int value) {
    Item* item = static_cast<Item*>(malloc(sizeof(Item)));
    item->value = value;
    return &item->node;
}

int FirstValue(QUEUE* q) {
    return reinterpret_cast<Item*>(QUEUE_GetFirst(q))->value;
}
}  // namespace

TEST(Queue, EmptyOneAndManyNodesLeaveInArrivalOrder) {
    QUEUE* q = QUEUE_Init();
    ASSERT_NE(q, nullptr);
    EXPECT_EQ(QUEUE_GetFirst(q), nullptr);
    EXPECT_EQ(QUEUE_DelHead(q), 0);

    QUEUE_NODE* one = NewItem(1);
    EXPECT_EQ(QUEUE_AddToTail(q, one), 1);
    EXPECT_EQ(QUEUE_GetFirst(q), one);
    EXPECT_EQ(QUEUE_DelHead(q), 1);  // unlinked, not freed
    EXPECT_EQ(QUEUE_GetFirst(q), nullptr);
    EXPECT_EQ(q->Tail, &q->Head);

    for (int v = 2; v <= 4; ++v) {
        QUEUE_AddToTail(q, NewItem(v));
    }
    QUEUE_NODE* two = QUEUE_GetFirst(q);
    QUEUE_DelHead(q);
    free(two);
    QUEUE_AddToTail(q, one);
    EXPECT_EQ(q->m_Count, 3u);
    EXPECT_EQ(FirstValue(q), 3);
    EXPECT_EQ(q->Tail, one);
    EXPECT_EQ(QUEUE_Destroy(q), 1);  // frees the three nodes still linked (leak checker)
}
