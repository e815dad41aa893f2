#include "world/collision_tree.h"

#include <algorithm>

namespace {

constexpr int32_t kBlockNodes = 1024;

float area(const CollisionRect& r) { return (r.maxX - r.minX) * (r.maxY - r.minY); }

CollisionRect combine(const CollisionRect& a, const CollisionRect& b) {
  return {std::min(a.minX, b.minX), std::min(a.minY, b.minY), std::max(a.maxX, b.maxX), std::max(a.maxY, b.maxY)};
}

CollisionRect cover(const CollisionTree::Node* node) {
  CollisionRect r = node->branch[0].rect;
  for (int i = 1; i < node->count; ++i) r = combine(r, node->branch[i].rect);
  return r;
}

void disconnect(CollisionTree::Node* node, int index) {
  node->branch[index] = node->branch[node->count - 1];
  --node->count;
}

}  // namespace

CollisionTree::CollisionTree() { root_ = alloc(0); }

CollisionTree::~CollisionTree() {
  for (Node* block : blocks_) delete[] block;
}

CollisionTree::Node* CollisionTree::alloc(int32_t level) {
  if (free_.empty()) {
    Node* block = new Node[kBlockNodes];
    blocks_.push_back(block);
    for (int32_t i = kBlockNodes - 1; i >= 0; --i) free_.push_back(&block[i]);
  }
  Node* node = free_.back();
  free_.pop_back();
  node->count = 0;
  node->level = level;
  return node;
}

void CollisionTree::release(Node* node) { free_.push_back(node); }

void CollisionTree::free_subtree(Node* node) {
  if (node->level > 0) {
    for (int i = 0; i < node->count; ++i) free_subtree(node->branch[i].child);
  }
  release(node);
}

void CollisionTree::Clear() {
  free_subtree(root_);
  root_ = alloc(0);
  count_ = 0;
}

void CollisionTree::Insert(const CollisionRect& rect, CInstance* instance) {
  Branch branch{rect, nullptr, instance};
  insert_at(branch, 0);
  ++count_;
}

void CollisionTree::insert_at(const Branch& branch, int32_t level) {
  Node* split = nullptr;
  if (!insert_rec(branch, root_, &split, level)) return;
  // The root split: a new root one level up holds both halves.
  Node* root = alloc(root_->level + 1);
  root->branch[0] = Branch{cover(root_), root_, nullptr};
  root->branch[1] = Branch{cover(split), split, nullptr};
  root->count = 2;
  root_ = root;
}

bool CollisionTree::insert_rec(const Branch& branch, Node* node, Node** split, int32_t level) {
  if (node->level == level) return add_branch(branch, node, split);
  // The branch needing the least enlargement; the smaller area, then the first, breaks a tie.
  int best = 0;
  float best_growth = 0, best_area = 0;
  for (int i = 0; i < node->count; ++i) {
    const float a = area(node->branch[i].rect);
    const float growth = area(combine(branch.rect, node->branch[i].rect)) - a;
    if (i == 0 || growth < best_growth || (growth == best_growth && a < best_area)) {
      best = i;
      best_growth = growth;
      best_area = a;
    }
  }
  Node* below = nullptr;
  Branch& chosen = node->branch[best];
  if (!insert_rec(branch, chosen.child, &below, level)) {
    chosen.rect = combine(branch.rect, chosen.rect);
    return false;
  }
  chosen.rect = cover(chosen.child);
  return add_branch(Branch{cover(below), below, nullptr}, node, split);
}

bool CollisionTree::add_branch(const Branch& branch, Node* node, Node** split) {
  if (node->count < kMaxBranches) {
    node->branch[node->count++] = branch;
    return false;
  }
  split_node(node, branch, split);
  return true;
}

// Guttman's quadratic split over the node's branches and the extra one.
void CollisionTree::split_node(Node* node, const Branch& extra, Node** split) {
  constexpr int kTotal = kMaxBranches + 1;
  Branch all[kTotal];
  std::copy(node->branch, node->branch + kMaxBranches, all);
  all[kMaxBranches] = extra;
  int group[kTotal];
  std::fill(group, group + kTotal, -1);
  CollisionRect cover_of[2];
  int members[2] = {0, 0};

  // Seeds: the pair that would waste the most area together.
  int seed0 = 0, seed1 = 1;
  float worst = 0;
  bool first = true;
  for (int i = 0; i < kTotal - 1; ++i) {
    for (int j = i + 1; j < kTotal; ++j) {
      const float waste = area(combine(all[i].rect, all[j].rect)) - area(all[i].rect) - area(all[j].rect);
      if (first || waste > worst) {
        worst = waste;
        seed0 = i;
        seed1 = j;
        first = false;
      }
    }
  }
  auto assign = [&](int index, int g) {
    group[index] = g;
    cover_of[g] = members[g] == 0 ? all[index].rect : combine(cover_of[g], all[index].rect);
    ++members[g];
  };
  assign(seed0, 0);
  assign(seed1, 1);

  while (members[0] + members[1] < kTotal) {
    if (members[0] >= kTotal - kMinBranches || members[1] >= kTotal - kMinBranches) break;
    int pick = -1, pick_group = 0;
    float biggest = -1;
    for (int i = 0; i < kTotal; ++i) {
      if (group[i] >= 0) continue;
      const float grow0 = area(combine(all[i].rect, cover_of[0])) - area(cover_of[0]);
      const float grow1 = area(combine(all[i].rect, cover_of[1])) - area(cover_of[1]);
      const float diff = grow1 > grow0 ? grow1 - grow0 : grow0 - grow1;
      if (diff > biggest) {
        biggest = diff;
        pick = i;
        if (grow0 < grow1) {
          pick_group = 0;
        } else if (grow1 < grow0) {
          pick_group = 1;
        } else {
          pick_group = members[0] <= members[1] ? 0 : 1;
        }
      }
    }
    assign(pick, pick_group);
  }
  // One group holds all but the minimum: the rest go to the other.
  const int rest = members[0] >= kTotal - kMinBranches ? 1 : 0;
  for (int i = 0; i < kTotal; ++i) {
    if (group[i] < 0) assign(i, rest);
  }

  Node* other = alloc(node->level);
  node->count = 0;
  for (int i = 0; i < kTotal; ++i) {
    Node* to = group[i] == 0 ? node : other;
    to->branch[to->count++] = all[i];
  }
  *split = other;
}

bool CollisionTree::Remove(const CollisionRect& rect, CInstance* instance) {
  std::vector<Node*> reinsert;
  if (!remove_rec(rect, instance, root_, &reinsert)) return false;
  --count_;
  // Entries of dissolved nodes go back in at their levels.
  for (Node* node : reinsert) {
    for (int i = 0; i < node->count; ++i) insert_at(node->branch[i], node->level);
    release(node);
  }
  while (root_->count == 1 && root_->level > 0) {
    Node* child = root_->branch[0].child;
    release(root_);
    root_ = child;
  }
  return true;
}

bool CollisionTree::remove_rec(const CollisionRect& rect, CInstance* instance, Node* node,
                               std::vector<Node*>* reinsert) {
  if (node->level == 0) {
    for (int i = 0; i < node->count; ++i) {
      if (node->branch[i].instance == instance) {
        disconnect(node, i);
        return true;
      }
    }
    return false;
  }
  for (int i = 0; i < node->count; ++i) {
    if (!Overlap(rect, node->branch[i].rect)) continue;
    Node* child = node->branch[i].child;
    if (!remove_rec(rect, instance, child, reinsert)) continue;
    if (child->count >= kMinBranches) {
      node->branch[i].rect = cover(child);
    } else {
      reinsert->push_back(child);
      disconnect(node, i);
    }
    return true;
  }
  return false;
}
