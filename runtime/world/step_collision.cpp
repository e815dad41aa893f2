// The collision stage of the frame step: the collision subject's stage.
#include "world/step_collision.h"

#include "world/collision.h"

void Step_CollisionEvents() { Collision_Stage(); }
