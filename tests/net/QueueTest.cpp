#include <gtest/gtest.h>

#include <cstdlib>

#include "net/Queue.h"

namespace {
struct Item {
    QUEUE_NODE node;
    int value;
};

Item* NewItem(int value) {
    Item* item = static_cast<Item*>(malloc(sizeof(Item)));
    item->value = value;
    return item;
}

int FirstValue(QUEUE* q) {
    return reinterpret_cast<Item*>(QUEUE_GetFirst(q))->value;
}
}  // namespace

TEST(Queue, EmptyQueueHasNoFirstAndNothingToDelete) {
    QUEUE* q = QUEUE_Init();
    ASSERT_NE(q, nullptr);
    EXPECT_EQ(QUEUE_GetFirst(q), nullptr);
    EXPECT_EQ(QUEUE_DelHead(q), 0);
    EXPECT_EQ(q->m_Count, 0u);
    EXPECT_EQ(q->Head.pNext, &q->Head);
    EXPECT_EQ(q->Tail, &q->Head);
    EXPECT_EQ(QUEUE_Destroy(q), 1);
}

TEST(Queue, NodesLeaveInArrivalOrderAndTheLastOneEmptiesTheQueue) {
    QUEUE* q = QUEUE_Init();
    Item* one = NewItem(1);
    EXPECT_EQ(QUEUE_AddToTail(q, &one->node), 1);
    EXPECT_EQ(QUEUE_GetFirst(q), &one->node);
    EXPECT_EQ(q->Tail, &one->node);
    EXPECT_EQ(QUEUE_DelHead(q), 1);  // unlinked, not freed
    EXPECT_EQ(QUEUE_GetFirst(q), nullptr);
    EXPECT_EQ(q->Tail, &q->Head);

    for (int v = 2; v <= 4; ++v) {
        QUEUE_AddToTail(q, &NewItem(v)->node);
    }
    EXPECT_EQ(q->m_Count, 3u);
    EXPECT_EQ(FirstValue(q), 2);
    Item* second = reinterpret_cast<Item*>(QUEUE_GetFirst(q));
    QUEUE_DelHead(q);
    free(second);
    EXPECT_EQ(q->m_Count, 2u);
    EXPECT_EQ(FirstValue(q), 3);
    // A node added after deletions still goes behind the others.
    QUEUE_AddToTail(q, &one->node);
    EXPECT_EQ(q->m_Count, 3u);
    EXPECT_EQ(FirstValue(q), 3);
    // Destroy frees the three nodes still linked (the leak checker watches this).
    EXPECT_EQ(QUEUE_Destroy(q), 1);
}
