#include "net/Queue.h"

#include <cstdlib>

namespace {
void MakeEmpty(QUEUE* queue) {
    queue->Head.pNext = &queue->Head;
    queue->Tail = &queue->Head;
    queue->m_Count = 0;
}
}  // namespace

QUEUE* QUEUE_Init() {
    QUEUE* queue = static_cast<QUEUE*>(malloc(sizeof(QUEUE)));
    if (queue != nullptr) {
        MakeEmpty(queue);
    }
    return queue;
}

int QUEUE_AddToTail(QUEUE* queue, QUEUE_NODE* node) {
    if (queue == nullptr || node == nullptr) {
        return 0;
    }
    node->pNext = &queue->Head;
    queue->Tail->pNext = node;
    queue->Tail = node;
    queue->m_Count++;
    return 1;
}

int QUEUE_DelHead(QUEUE* queue) {
    if (queue == nullptr || queue->m_Count == 0) {
        return 0;
    }
    if (queue->m_Count == 1) {
        MakeEmpty(queue);
        return 1;
    }
    queue->Head.pNext = queue->Head.pNext->pNext;
    queue->m_Count--;
    return 1;
}

QUEUE_NODE* QUEUE_GetFirst(QUEUE* queue) {
    if (queue == nullptr || queue->m_Count == 0) {
        return nullptr;
    }
    return queue->Head.pNext;
}

int QUEUE_Destroy(QUEUE* queue) {
    if (queue == nullptr) {
        return 0;
    }
    // Walk by the count so a damaged link can never send the loop round the ring for ever.
    QUEUE_NODE* node = queue->Head.pNext;
    for (uint32_t i = 0; i < queue->m_Count && node != &queue->Head; ++i) {
        QUEUE_NODE* next = node->pNext;
        free(node);
        node = next;
    }
    free(queue);
    return 1;
}
