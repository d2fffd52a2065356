#include <gtest/gtest.h>

#include <cstdlib>
#include <vector>

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
}  // namespace

TEST(Queue, NodesLeaveInArrivalOrderAndDestroyFreesThoseStillLinked) {
    QUEUE* q = QUEUE_Init();
    ASSERT_NE(q, nullptr);
    EXPECT_EQ(QUEUE_GetFirst(q), nullptr);
    EXPECT_EQ(QUEUE_DelHead(q), 0);
    QUEUE_NODE* one = NewItem(1);
    QUEUE_AddToTail(q, one);
    EXPECT_EQ(QUEUE_DelHead(q), 1);  // unlinked, not freed
    EXPECT_EQ(QUEUE_GetFirst(q), nullptr);
    for (int v = 2; v <= 4; ++v) {
        EXPECT_EQ(QUEUE_AddToTail(q, NewItem(v)), 1);
    }
    QUEUE_NODE* two = QUEUE_GetFirst(q);
    QUEUE_DelHead(q);
    free(two);
    QUEUE_AddToTail(q, one);  // an emptied queue takes nodes at its tail again
    EXPECT_EQ(q->m_Count, 3u);
    std::vector<int> order;
    QUEUE_NODE* n = QUEUE_GetFirst(q);
    for (unsigned i = 0; i < q->m_Count; ++i, n = n->pNext) {
        order.push_back(reinterpret_cast<Item*>(n)->value);
    }
    EXPECT_EQ(order, (std::vector<int>{3, 4, 1}));
    EXPECT_EQ(QUEUE_Destroy(q), 1);  // frees the three nodes (leak checker)
}
