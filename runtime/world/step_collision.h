#pragma once
// The collision stage of the frame step (stage 23): collision events between the instances of the
// objects that take part in them. The collision subsystem fills it; until then no instance has a
// mask to test, so the stage raises nothing.
void Step_CollisionEvents();
