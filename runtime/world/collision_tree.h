#pragma once
// The collision tree: a Guttman R-tree over axis-aligned rectangles in two dimensions, at most 6
// branches in a node and at least 2, with quadratic splits. Leaves hold instances. Nodes come from
// a pool in blocks of 1024 and go back to it when freed. Searches run depth first in branch order;
// touching rectangles overlap.
#include <cstdint>
#include <vector>

class CInstance;

struct CollisionRect {
  float minX, minY, maxX, maxY;
};

class CollisionTree {
 public:
  static constexpr int kMaxBranches = 6;
  static constexpr int kMinBranches = 2;

  struct Node;
  struct Branch {
    CollisionRect rect;
    Node* child;          // inner node
    CInstance* instance;  // leaf
  };
  struct Node {
    int32_t count = 0;
    int32_t level = 0;  // 0 at a leaf
    Branch branch[kMaxBranches];
  };

  CollisionTree();
  ~CollisionTree();
  CollisionTree(const CollisionTree&) = delete;
  CollisionTree& operator=(const CollisionTree&) = delete;

  void Insert(const CollisionRect& rect, CInstance* instance);
  // Finds the entry under rect (the one it was inserted with); false if it isn't there.
  bool Remove(const CollisionRect& rect, CInstance* instance);
  // Calls visit(instance) for each entry overlapping rect until it returns false; false then.
  template <class Visit>
  bool Search(const CollisionRect& rect, Visit&& visit) const {
    return search(root_, rect, visit);
  }
  void Clear();
  // Levels above the leaves: 0 for a tree that is one leaf.
  int32_t RootLevel() const { return root_->level; }
  int32_t Count() const { return count_; }

 private:
  template <class Visit>
  static bool search(const Node* node, const CollisionRect& rect, Visit& visit) {
    for (int i = 0; i < node->count; ++i) {
      const Branch& b = node->branch[i];
      if (!Overlap(rect, b.rect)) continue;
      if (node->level > 0) {
        if (!search(b.child, rect, visit)) return false;
      } else if (!visit(b.instance)) {
        return false;
      }
    }
    return true;
  }
  static bool Overlap(const CollisionRect& a, const CollisionRect& b) {
    return !(a.minX > b.maxX || b.minX > a.maxX || a.minY > b.maxY || b.minY > a.maxY);
  }

  Node* alloc(int32_t level);
  void release(Node* node);
  void free_subtree(Node* node);
  void insert_at(const Branch& branch, int32_t level);
  bool insert_rec(const Branch& branch, Node* node, Node** split, int32_t level);
  bool add_branch(const Branch& branch, Node* node, Node** split);
  void split_node(Node* node, const Branch& extra, Node** split);
  bool remove_rec(const CollisionRect& rect, CInstance* instance, Node* node, std::vector<Node*>* reinsert);

  std::vector<Node*> blocks_;
  std::vector<Node*> free_;
  Node* root_ = nullptr;
  int32_t count_ = 0;
};
