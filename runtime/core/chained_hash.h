#pragma once
// CHash<T>: a chained table by int32 key (an id, or the hash of a richer key), used for instances
// by id and for the storage of a ds_map. The bucket count is a power of two and a key's bucket is
// key & mask. Each bucket keeps head and tail of a doubly linked chain; new nodes go to the tail,
// and lookups walk from the head, so among equal keys the oldest is found first and FindNext
// walks the rest (a ds_map keys its nodes by hash and tells colliding keys apart itself).
// Nodes come from the memory manager one by one. The table owns its nodes, never the values.
// No locks: the owner guards it.
#include <cstdint>

#include "core/memory.h"

template <class T>
class CHash {
 public:
  struct Node {
    Node* previous;
    Node* next;
    int32_t key;
    T value;
  };
  struct Bucket {
    Node* head;
    Node* tail;
  };

  explicit CHash(int32_t bucket_count = 64) {
    int32_t count = 1;
    while (count < bucket_count && count < (1 << 30)) count <<= 1;
    buckets_ = static_cast<Bucket*>(KV_CALLOC(sizeof(Bucket) * static_cast<size_t>(count)));
    if (buckets_ != nullptr) mask_ = count - 1;
  }
  ~CHash() {
    Clear();
    KV_FREE(buckets_);
  }
  CHash(const CHash&) = delete;
  CHash& operator=(const CHash&) = delete;

  // Adds a node at the tail of its bucket, also when the key is present already. Null when the
  // node could not be allocated.
  Node* Insert(int32_t key, T value) {
    if (buckets_ == nullptr) return nullptr;
    Node* node = KV_NEW(Node);
    if (node == nullptr) return nullptr;
    node->key = key;
    node->value = value;
    Bucket& bucket = buckets_[key & mask_];
    node->previous = bucket.tail;
    node->next = nullptr;
    if (bucket.tail != nullptr) {
      bucket.tail->next = node;
    } else {
      bucket.head = node;
    }
    bucket.tail = node;
    ++count_;
    return node;
  }

  Node* FindNode(int32_t key) const {
    if (buckets_ == nullptr) return nullptr;
    return Walk(buckets_[key & mask_].head, key);
  }
  // The next node after `node` in its chain with the same key.
  Node* FindNext(const Node* node) const { return Walk(node->next, node->key); }

  T* Find(int32_t key) const {
    Node* node = FindNode(key);
    return node != nullptr ? &node->value : nullptr;
  }

  // Unlinks and frees the first node with the key; false when there is none.
  bool Delete(int32_t key) {
    Node* node = FindNode(key);
    if (node == nullptr) return false;
    DeleteNode(node);
    return true;
  }

  void DeleteNode(Node* node) {
    Bucket& bucket = buckets_[node->key & mask_];
    if (node->previous != nullptr) {
      node->previous->next = node->next;
    } else {
      bucket.head = node->next;
    }
    if (node->next != nullptr) {
      node->next->previous = node->previous;
    } else {
      bucket.tail = node->previous;
    }
    KV_Delete(node);
    --count_;
  }

  void Clear() {
    if (buckets_ == nullptr) return;
    for (int32_t i = 0; i <= mask_; ++i) {
      Node* node = buckets_[i].head;
      while (node != nullptr) {
        Node* next = node->next;
        KV_Delete(node);
        node = next;
      }
      buckets_[i] = Bucket{nullptr, nullptr};
    }
    count_ = 0;
  }

  int32_t Count() const { return count_; }
  int32_t BucketCount() const { return buckets_ != nullptr ? mask_ + 1 : 0; }
  const Bucket* BucketAt(int32_t index) const { return &buckets_[index & mask_]; }

  // Walk in bucket order, each chain from head to tail: start with First, go on with Next.
  Node* First() const { return FirstFrom(0); }
  Node* Next(const Node* node) const {
    return node->next != nullptr ? node->next : FirstFrom((node->key & mask_) + 1);
  }

  // fn(key, T&) for every node in walk order; fn may not delete nodes.
  template <class Fn>
  void ForEach(Fn&& fn) {
    for (Node* node = First(); node != nullptr; node = Next(node)) fn(node->key, node->value);
  }

 private:
  static Node* Walk(Node* node, int32_t key) {
    while (node != nullptr && node->key != key) node = node->next;
    return node;
  }

  Node* FirstFrom(int32_t index) const {
    if (buckets_ == nullptr) return nullptr;
    for (int32_t i = index; i <= mask_; ++i) {
      if (buckets_[i].head != nullptr) return buckets_[i].head;
    }
    return nullptr;
  }

  Bucket* buckets_ = nullptr;
  int32_t mask_ = 0;
  int32_t count_ = 0;
};
