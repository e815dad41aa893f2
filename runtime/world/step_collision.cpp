// The collision stage without the collision subsystem: no masks, no tree, nothing collides.
#include "world/step_collision.h"

void Step_CollisionEvents() {}
