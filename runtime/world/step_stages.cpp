// Stages of subjects that have not landed: without sockets or effects there is nothing to advance
// or apply. The sequence and particle stages live with their subjects (sequence_step.cpp,
// particles_layer.cpp); the audio flush hands the sounds started so far to the output together.
#include "world/step_stages.h"

#include "audio/audio.h"
#include "world/instance.h"

void Step_PollSockets() {}
void Step_LayerEffects(CRoom*) {}
void Flush_AudioQueue() { Audio_Flush(); }
