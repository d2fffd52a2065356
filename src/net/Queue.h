// An intrusive FIFO of records: each queued record carries a QUEUE_NODE as its first member.
// The queue owns no payload; it links and unlinks the records it is given.
#pragma once

#include <cstdint>

struct QUEUE_NODE {
    QUEUE_NODE* pNext;
};

struct QUEUE {
    QUEUE_NODE Head;   // Head.pNext is the first node, or &Head when empty
    QUEUE_NODE* Tail;  // the last node, or &Head when empty
    uint32_t m_Count;
};

// Allocates an empty queue; null when the heap is exhausted.
QUEUE* QUEUE_Init();
// Links node after the tail. 1, or 0 for a null argument.
int QUEUE_AddToTail(QUEUE* queue, QUEUE_NODE* node);
// Unlinks the first node without freeing it. 0 when empty, else 1.
int QUEUE_DelHead(QUEUE* queue);
// The first node, or null when the queue is empty.
QUEUE_NODE* QUEUE_GetFirst(QUEUE* queue);
// Frees every node still linked (the node only, not what it points to), then the queue.
int QUEUE_Destroy(QUEUE* queue);
