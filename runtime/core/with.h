#pragma once
// `with (target) { ... }`: the body runs once per object the target selects, with self = that
// object and other = the self outside. The targets are collected before the first round (into an
// array with one extra entry, a null end marker at index 0), so instances made by the body don't
// join; rounds take entries from the array's end. Instance ids and object indexes resolve through
// g_InstanceHooks (nothing is selected while the world hasn't installed them).
//
//   undefined, -4 noone, -5 global, -7 local -> -1: the body doesn't run, KVWithEnd has nothing to do
//   an object value            one round
//   -1 self, -6                one round over self
//   -2 other                   one round over other (self and other swap)
//   -3 all                     every active instance of the room that isn't marked
//   -9                         one round over the object the value stands for: the one it holds,
//                              or the current self for a plain number, which holds none
//   other negative numbers     nothing (0)
//   0 .. 99999                 every instance of that object and of its children
//   100000 and above           the instance with that id if it's alive, else nothing (0)
// Any other kind raises "invalid with reference". The array comes from the memory manager only when
// more than one round is possible; KVWithEnd frees it and puts self and other back.
//
// Compiled code uses the RAII form, which restores self and other on every exit, unwinding too:
//   for (KVWith w(&self, &other, target); w.Next();) { ... }
#include <cstdint>

#include "core/rvalue.h"

class KVObjectBase;

struct KVWithIterator {
  CInstance* savedSelf = nullptr;
  CInstance* savedOther = nullptr;
  KVObjectBase* savedTarget = nullptr;  // the enclosing with's current object
  KVObjectBase** items = nullptr;       // items[0] is the null end marker
  int32_t position = 0;                 // entries not yet taken, the marker included
  KVObjectBase* inline_items[2] = {nullptr, nullptr};
};

// Returns -1 when the body doesn't run, else the number of rounds collected.
int KVWithBegin(KVWithIterator* iterator, CInstance** self, CInstance** other, const RValue* target);
// Takes the next object from the end: self = it, other = the saved self. False at the marker.
// Nothing is skipped: an instance destroyed by an earlier round still takes its turn.
bool KVWithNext(KVWithIterator* iterator, CInstance** self, CInstance** other);
// Frees the array and restores self and other.
void KVWithEnd(KVWithIterator* iterator, CInstance** self, CInstance** other);

// The object of the innermost running `with` round, or null.
KVObjectBase* With_CurrentTarget();
// The slot of the current `with` object's script static struct (a function object's statics), or
// null; the variable read consults it after the object and its prototype.
RValue* With_StaticSlot(int32_t slot);

class KVWith {
 public:
  KVWith(CInstance** self, CInstance** other, const RValue& target) : self_(self), other_(other) {
    rounds_ = KVWithBegin(&iterator_, self, other, &target);
  }
  KVWith(CInstance** self, CInstance** other, double target) : KVWith(self, other, RV_Real(target)) {}
  KVWith(CInstance** self, CInstance** other, int32_t target) : KVWith(self, other, RV_Real(target)) {}
  KVWith(CInstance** self, CInstance** other, KVObjectBase* target);
  ~KVWith() {
    if (rounds_ != -1) KVWithEnd(&iterator_, self_, other_);
  }
  KVWith(const KVWith&) = delete;
  KVWith& operator=(const KVWith&) = delete;

  bool Next() { return rounds_ != -1 && KVWithNext(&iterator_, self_, other_); }
  int rounds() const { return rounds_; }

 private:
  KVWithIterator iterator_;
  CInstance** self_;
  CInstance** other_;
  int rounds_ = -1;
};
