#pragma once
// Collision: the bounding box of an instance, the sprite masks, the tests of an instance against a
// point, rectangle, ellipse, line and another instance, the collision tree that makes queries cheap,
// and the collision stage of the frame step.
//
// The collision sprite of an instance is its mask if set, else its sprite; without one (or with no
// frames) it never collides and its box is the point (x, y). Boxes are recomputed lazily (instance
// flag 0x8, set by Instance_SetPosition and Instance_BoxChanged); moves are batched on TreeUpdates
// and reach the tree at the next query or stage. An object enters the tree when a query first names
// it (object flag 0x20); objects with collision events are in from the start.
//
// Collision compatibility mode (option bit 27): boxes are rounded to integers, right and bottom
// edges are inclusive, a rectangle overlap needs no pixel centre, and masks are tested on whole pixels.
#include <cstdint>
#include <vector>

class CInstance;
class CollisionTree;

// Edge constants: in the point, line and ellipse tests, and in the rectangle and instance tests.
constexpr float kCollisionPointEdge = -0.00001f;
constexpr float kCollisionCompatEdge = 1.0f;

bool Collision_CompatMode();

// ---- Boxes and tests --------------------------------------------------------------------------
// Recomputes the box (clears flag 0x8, sets 0x200 for a precise sprite); with updateTree the tree
// entry follows and flag 0x8000 is set.
void Collision_ComputeBox(CInstance* instance, bool updateTree);
// The box brought up to date.
void Collision_RefreshBox(CInstance* instance);

bool Instance_CollidePoint(CInstance* instance, float x, float y, bool precise);
bool Instance_CollideRectangle(CInstance* instance, float x1, float y1, float x2, float y2, bool precise);
bool Instance_CollideEllipse(CInstance* instance, float x1, float y1, float x2, float y2, bool precise);
bool Instance_CollideLine(CInstance* instance, float x1, float y1, float x2, float y2, bool precise);
bool Instance_Collide(CInstance* a, CInstance* b, bool refreshBoxes);

// ---- Tree and lists ---------------------------------------------------------------------------
// Queues a moved member for the tree and, for an object with collision events, for the stage.
void Collision_QueueUpdate(CInstance* instance);
void Collision_QueueCandidate(CInstance* instance);
// Makes the tree if missing, computes the box and queues the candidate.
void Collision_Add(CInstance* instance);
// Out of the tree (flag 0x8000 cleared) and off both lists.
void Collision_Remove(CInstance* instance);
void Collision_FlushUpdates();
// Discards the tree and builds it again from the current room; clearObjects forgets which objects
// queries have entered.
void Collision_Rebuild(bool clearObjects);
// A new empty tree and both lists emptied (room end, game end).
void Collision_Reset();
// The stage of the step: candidates searched in the tree, pairs with collision events dispatched.
void Collision_Stage();
// The tree, made on first need (null before).
CollisionTree* Collision_Tree();
// Instances skipped by a bulk insertion: marked, deactivated, in the tree already, delayed destroy.
extern uint32_t TreeExclusionMask;
extern bool TreeHoldsAll;

// ---- Queries ----------------------------------------------------------------------------------
constexpr int32_t kCollisionNone = -1;
constexpr int32_t kCollisionTree = 1;
constexpr int32_t kCollisionBrute = 2;
// How a query over target runs; entering the target's objects into the tree if it should.
int32_t Collision_Strategy(int32_t target);

// Self placed at (x, y) against the target's instances: the first hit, or with list every hit
// appended. Raises "current self is not an instance" for a struct self.
CInstance* Command_InstancePlace(CInstance* self, float x, float y, int32_t target, std::vector<CInstance*>* list);
bool Command_IsFree(CInstance* self, float x, float y);
bool Command_IsEmpty(CInstance* self, float x, float y, int32_t target);

enum class CollisionShape { kPoint, kRectangle, kEllipse, kLine };
// A shape query: the first instance of target hit by the shape, or every one with list. notme
// leaves self out. The point uses x1, y1.
CInstance* Collision_Shape(CInstance* self, CInstance* other, CollisionShape shape, float x1, float y1, float x2,
                           float y2, int32_t target, bool precise, bool notme, std::vector<CInstance*>* list);

// Installs the instance hooks of the tree and the box (World_Init calls it).
void Collision_Init();
void Collision_RegisterBuiltins();
