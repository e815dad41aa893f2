#pragma once
// The stages of the frame step that belong to other subjects (sequences, network services, layer
// effects, motion, particles, audio). The step calls them at their places. The sequence stages are
// the sequences' own (sequence_step.cpp); the others do what can be done without their subject:
// nothing, or for motion the position update alone.
#include <cstdint>

class CInstance;
struct CRoom;

// Sequences: the sequence pass before Begin Step, Step and End Step (subtype of the step event),
// the advance of the room's sequence instances, and the delivery of their moment events.
void Step_SequencePass(int32_t step_subtype);
void Step_SequencesAdvance(CRoom* room);
void Step_SequenceMoments(CRoom* room);
// Network sockets are polled (stage 7).
void Step_PollSockets();
// Each layer with an effect object runs its "step" method (stage 14).
void Step_LayerEffects(CRoom* room);
// Motion of one instance in the motion walk: friction, gravity and the path step belong to the
// motion subject; the position update x += hspeed, y += vspeed happens here. True when a path
// ended in this step (End Of Path is then raised by the walk).
bool Step_MoveInstance(CInstance* instance);
// Particle systems advance (stage 25).
void Step_ParticlesAdvance();
// The flush's queues of later subjects: particle systems moved by part_system_depth, and the
// queued audio changes.
void Flush_ParticleDepths();
void Flush_AudioQueue();
