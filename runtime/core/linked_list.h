#pragma once
// SLinkedList<T>: a doubly linked list with first, last and count. Each node is its own block of
// the memory manager; new nodes go to the tail. The list owns its nodes, never the values: removing
// a node or destroying the list leaves the values alone. No locks.
#include <cstdint>

#include "core/memory.h"

template <class T>
class SLinkedList {
 public:
  struct Node {
    Node* next;
    Node* previous;
    T value;
  };

  SLinkedList() = default;
  ~SLinkedList() { Clear(); }
  SLinkedList(const SLinkedList&) = delete;
  SLinkedList& operator=(const SLinkedList&) = delete;

  // Appends value; the new node, or null when memory ran out.
  Node* Add(T value) {
    Node* node = KV_NEW(Node);
    if (node == nullptr) return nullptr;
    node->value = value;
    node->previous = last;
    node->next = nullptr;
    if (last != nullptr) {
      last->next = node;
    } else {
      first = node;
    }
    last = node;
    ++count;
    return node;
  }

  // The first node holding value, or null.
  Node* Find(const T& value) const {
    for (Node* node = first; node != nullptr; node = node->next) {
      if (node->value == value) return node;
    }
    return nullptr;
  }

  // Unlinks and frees a node of this list.
  void Remove(Node* node) {
    if (node->previous != nullptr) {
      node->previous->next = node->next;
    } else {
      first = node->next;
    }
    if (node->next != nullptr) {
      node->next->previous = node->previous;
    } else {
      last = node->previous;
    }
    KV_Delete(node);
    --count;
  }

  // Removes the first node holding value; false when there is none.
  bool RemoveValue(const T& value) {
    Node* node = Find(value);
    if (node == nullptr) return false;
    Remove(node);
    return true;
  }

  void Clear() {
    Node* node = first;
    while (node != nullptr) {
      Node* next = node->next;
      KV_Delete(node);
      node = next;
    }
    first = nullptr;
    last = nullptr;
    count = 0;
  }

  Node* first = nullptr;
  Node* last = nullptr;
  int32_t count = 0;
};
