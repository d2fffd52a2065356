// The shape shared by the packet list of a frame and the frame list of a stream: doubly
// linked, the first element's pPre pointing at the last element, the last one's pNext null,
// so appending at the tail is O(1) through first->pPre.
#pragma once

namespace playersdk {

template <class Node>
void RingAppend(Node*& first, Node* node) {
    node->pNext = nullptr;
    if (first == nullptr) {
        node->pPre = node;
        first = node;
        return;
    }
    Node* last = first->pPre;
    last->pNext = node;
    node->pPre = last;
    first->pPre = node;
}

template <class Node>
void RingPushFront(Node*& first, Node* node) {
    if (first == nullptr) {
        RingAppend(first, node);
        return;
    }
    node->pPre = first->pPre;
    node->pNext = first;
    first->pPre = node;
    first = node;
}

// Puts node right behind 'at', which is in the list.
template <class Node>
void RingInsertAfter(Node*& first, Node* at, Node* node) {
    if (at->pNext == nullptr) {
        RingAppend(first, node);
        return;
    }
    node->pNext = at->pNext;
    node->pPre = at;
    at->pNext->pPre = node;
    at->pNext = node;
}

template <class Node>
void RingUnlink(Node*& first, Node* node) {
    if (node == first) {
        first = node->pNext;
        if (first != nullptr) {
            first->pPre = node->pPre;
        }
    } else if (node->pNext == nullptr) {
        first->pPre = node->pPre;
        node->pPre->pNext = nullptr;
    } else {
        node->pPre->pNext = node->pNext;
        node->pNext->pPre = node->pPre;
    }
    node->pNext = nullptr;
    node->pPre = nullptr;
}

}  // namespace playersdk
