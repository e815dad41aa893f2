#pragma once
// The collision stage of the frame step (stage 23): collision events between the instances of the
// objects that take part in them (Collision_Stage).
void Step_CollisionEvents();
