#pragma once
// Motion of instances: the speed vector kept in both forms (speed and direction, hspeed and
// vspeed), friction and gravity once a step, the motion walk's position update, and the move_*
// commands built on the collision tests. direction is in degrees, counterclockwise, 0 to the right;
// positive vspeed goes down.
//
// Writing one form derives the other: from polar, hspeed = cos(t) speed and vspeed = -sin(t) speed,
// each snapped to an integer within 0.0001; from Cartesian, the angle reduced to 0..360 and the
// length, both snapped the same way. Every such change marks the box and queues the tree update.
// Nothing here raises errors except the move commands for a struct self.
#include <cstdint>

class CInstance;

void Motion_PolarToCartesian(CInstance* instance);
void Motion_CartesianToPolar(CInstance* instance);
// Setters of the four motion variables; hspeed and vspeed derive the polar form only when the value
// changes. direction is stored as written.
void Motion_SetSpeed(CInstance* instance, float speed);
void Motion_SetDirection(CInstance* instance, float direction);
void Motion_SetHSpeed(CInstance* instance, float hspeed);
void Motion_SetVSpeed(CInstance* instance, float vspeed);

// motion_set: direction and speed together; motion_add: the vector (direction, speed) added.
void Motion_Set(CInstance* instance, float direction, float speed);
void Motion_Add(CInstance* instance, float direction, float speed);
// move_towards_point: hspeed and vspeed aim at (x, y), then speed is set.
void Motion_TowardsPoint(CInstance* instance, float x, float y, float speed);

// The motion walk: friction, gravity and the path step; true when a path reached its end. Then the
// position update x += hspeed, y += vspeed.
bool Motion_Advance(CInstance* instance);
void Motion_ApplyFrictionGravity(CInstance* instance);
void Motion_Move(CInstance* instance);

// ---- Moves against other instances ----------------------------------------------------------------
// Which instances block: solid ones (place_free), or any (place_empty with all).
enum class MotionBlockers { kSolid, kAll };
// True when self placed at (x, y) meets no blocker. Raises "current self is not an instance" for a
// struct self.
bool Motion_PlaceFree(CInstance* self, float x, float y, MotionBlockers blockers);
// move_contact_*: from a free place, step one pixel at a time in direction until the next step would
// meet a blocker, at most maxdist steps (maxdist <= 0: 1000).
void Motion_MoveContact(CInstance* self, float direction, float maxdist, MotionBlockers blockers);
// move_outside_*: from a place that is not free, step until free, at most maxdist steps.
void Motion_MoveOutside(CInstance* self, float direction, float maxdist, MotionBlockers blockers);
// move_bounce_*: when the next step would meet a blocker the motion is reflected; plain bounces
// reverse the blocked axes, advanced ones reflect about the normal of the blocker's surface, found
// by sampling the free directions around the motion.
void Motion_Bounce(CInstance* self, bool advanced, MotionBlockers blockers);

void Motion_Snap(CInstance* self, float hsnap, float vsnap);
// move_wrap: past an edge of the room by more than margin, the instance reappears at the other side.
void Motion_Wrap(CInstance* self, bool horizontal, bool vertical, float margin);
// move_random: up to 100 tries at random places inside the room (on the grid when snaps are given)
// until one is free of solids.
void Motion_Random(CInstance* self, float hsnap, float vsnap);

// The distance from the instance's box to a point (0 inside), and the least distance between its box
// and those of the target's instances (1000000 when there are none).
double Motion_DistanceToPoint(CInstance* self, float x, float y);
double Motion_DistanceToObject(CInstance* self, CInstance* other, int32_t target);
constexpr double kMotionNoDistance = 1000000.0;

// The motion builtins (motion_*, move_*, distance_*), the path builtins and the motion planning ones.
void Motion_RegisterBuiltins();
void Path_RegisterBuiltins();
void MotionPlanning_RegisterBuiltins();
// draw_path draws the polylines of the path table (installed by Motion_RegisterBuiltins).
void Path_InstallDrawHook();
