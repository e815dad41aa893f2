#pragma once
// Sequence instances: a sequence playing on a layer element. Each has a head that the frame step
// advances, wraps by the sequence's loop mode, and an evaluation tree of one SequenceEvalNode per
// active track in which the tracks' values at the head are computed; graphic, sprite-frame and
// instance tracks then apply their node to what they drive. Both are script-visible structs
// ("SequenceInstance", "SequenceEvalNode").
//
// Lifetime: a sequence element makes its instance when it starts (its layer starts in a running
// room) and destroys it when it goes; the table of sequence instances holds them (lowest free id
// first) and keeps them alive meanwhile. The instances that instance tracks create are destroyed
// with the sequence instance.
//
// The stage (once per step): for each sequence instance of the room in order of creation, start it
// if it hasn't started (instance tracks create their instances, the create event is sent), move the
// head by speed x direction x speed scale, wrap it, evaluate the tracks, and collect the message and
// moment keyframes the head passed; after all of them the messages are delivered, then the moments.
// A paused or finished instance collects nothing.
#include <cstdint>
#include <vector>

#include "world/sequence.h"

struct CLayerSequenceElement;
struct CRoom;
class CInstance;

class SequenceEvalNode final : public CSequenceBaseClass {
 public:
  static SequenceEvalNode* New(CSequenceTrack* track, SequenceEvalNode* parent);
  bool Mark(uint32_t* bitmap, int32_t bits) override;
  void Free(bool free_now) override;
  // The child node of a track, made on first need.
  SequenceEvalNode* ChildFor(CSequenceTrack* child);
  // Back to the initial values (before the parameter tracks fill it).
  void ResetValues();

  CSequenceTrack* track = nullptr;
  SequenceEvalNode* parent = nullptr;
  std::vector<SequenceEvalNode*> activeTracks;
  float posx = 0, posy = 0, rotation = 0, scalex = 1, scaley = 1, xorigin = 0, yorigin = 0;
  float gain = 1, pitch = 1, falloff = 0;
  float imageindex = 0, imagespeed = 1;
  float matrix[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
  float colormultiply[4] = {1, 1, 1, 1};
  float coloradd[4] = {0, 0, 0, 0};
  int32_t spriteIndex = -1, emitterIndex = -1, soundIndex = -1;
  int32_t instanceID = -1;
  int32_t sequenceID = -1;
  float frameSizeX = 0, frameSizeY = 0;
  float characterSpacing = 0, lineSpacing = 0, paragraphSpacing = 0;
  bool imageIndexSet = false;  // an image_index parameter drove imageindex in this evaluation
  float evaluatedAt = -1.0f;   // the head of the last evaluation; -1 before the first
  bool evaluated = false;
};

class CSequenceInstance final : public CSequenceBaseClass {
 public:
  static CSequenceInstance* New(int32_t sequenceIndex);
  bool Mark(uint32_t* bitmap, int32_t bits) override;
  void Free(bool free_now) override;
  CSequence* Sequence() const { return Sequence_Get(sequenceIndex); }

  int32_t id = -1;  // in the table of sequence instances
  int32_t sequenceIndex = -1;
  float headPosition = 0.0f;
  float lastHeadPosition = 0.0f;
  float headDirection = 1.0f;
  float speedScale = 1.0f;
  bool paused = false;
  bool finished = false;
  bool started = false;
  bool wrapped = false;
  bool pendingChange = false;  // a builtin changed the play state since the last step
  int32_t elementID = -1;
  CRoom* room = nullptr;
  SequenceEvalNode* root = nullptr;
  // sequence_instance_override_object: instance tracks of `object` take `instance` instead of
  // making one, or make one of `replacement` (an object index) when instance is -1.
  struct Override {
    int32_t object;
    int32_t instance;
    int32_t replacement;
  };
  std::vector<Override> overrides;
};

// ---- Head ----------------------------------------------------------------------------------------
struct SequenceHead {
  float position;
  float direction;
  bool finished = false;
  bool wrapped = false;
};
// The loop rule of the mode (0 once, 1 loop, 2 ping-pong) over length.
void Sequence_WrapHead(int32_t loopmode, float length, SequenceHead* head);

// ---- Table -----------------------------------------------------------------------------------------
CSequenceInstance* SequenceInstance_Get(int32_t id);
// The instance that plays on an element, or null.
CSequenceInstance* SequenceInstance_OfElement(const CLayerSequenceElement* element);
// The element hooks: make an element's instance (its id, or -1), destroy one.
int32_t SequenceInstance_CreateForElement(CLayerSequenceElement* element);
void SequenceInstance_Destroy(int32_t id);
// Installs the element hooks; harmless to call again.
void SequenceInstance_Init();
void SequenceInstance_FreeAll();

// ---- The step --------------------------------------------------------------------------------------
// The sequence pass beside Begin Step, Step and End Step: the sequence event of that step.
void Sequence_StepPass(int32_t step_subtype);
// Sends event_<name> of every running sequence instance of the room (neither paused nor finished).
void Sequence_SendEvent(int32_t type, int32_t subtype);
// The advance of the room's instances; collects messages and moments.
void Sequence_AdvanceRoom(CRoom* room);
// Delivers what the advance collected: messages, then moments.
void Sequence_DeliverEvents();
// Evaluates the tracks of an instance at its head into its tree; force recomputes unmoved nodes.
void Sequence_Evaluate(CSequenceInstance* instance, bool force);
// Instantiates the tracks of an instance that starts: instance tracks create their instances.
void Sequence_StartInstance(CSequenceInstance* instance);
// The layer element an instance plays on, or null.
CLayerSequenceElement* SequenceInstance_Element(const CSequenceInstance* instance);
// The instances of a room, in the order of their elements.
std::vector<CSequenceInstance*> SequenceInstance_OfRoom(const CRoom* room);
