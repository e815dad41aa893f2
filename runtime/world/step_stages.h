#pragma once
// The stages of the frame step that belong to other subjects (sequences, network services, layer
// effects, particles, audio). The step calls them at their places. The sequence stages are
// the sequences' own (sequence_step.cpp); the others do what can be done without their subject:
// nothing.
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
// Particle systems advance (stage 25).
void Step_ParticlesAdvance();
// The flush's queues of later subjects: particle systems moved by part_system_depth, and the
// queued audio changes.
void Flush_ParticleDepths();
void Flush_AudioQueue();
