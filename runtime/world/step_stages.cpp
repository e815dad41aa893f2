// Stages of subjects that have not landed: without sockets, effects or particle systems there is
// nothing to advance or apply. The sequence stages live with the sequences; the audio flush hands
// the sounds started so far to the output together.
#include "world/step_stages.h"

#include "audio/audio.h"
#include "world/instance.h"

void Step_PollSockets() {}
void Step_LayerEffects(CRoom*) {}
void Step_ParticlesAdvance() {}
void Flush_ParticleDepths() {}
void Flush_AudioQueue() { Audio_Flush(); }
