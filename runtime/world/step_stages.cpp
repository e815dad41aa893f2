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

bool Step_MoveInstance(CInstance* instance) {
  if (instance->hspeed == 0.0f && instance->vspeed == 0.0f) return false;
  Instance_SetPosition(instance, instance->x + instance->hspeed, instance->y + instance->vspeed);
  return false;
}
