#pragma once
// Animation curves: a curve is a set of named channels, each a function from 0 to 1 onto a value.
// Curves, channels and points are script-visible objects ("AnimationCurve", "AnimationCurveChannel",
// "CurvePoint") owned by the collector. The curve table holds the curves of the data file (held for
// the game) and those animcurve_create makes (gone with animcurve_destroy or the collector); a
// curve's id is its slot, the lowest free slot is taken first.
//
// Evaluation flattens a channel once into a polyline of cached points (linear: the points
// themselves; Bezier and Catmull-Rom: sampled by `iterations`) and then is a binary search and one
// linear mix, so a caller that evaluates many channels each frame never runs the spline code. The
// cache is rebuilt when it is empty or when the channel or one of its points changed since the last
// check; that test is one compare of stamps while nothing changed.
// Odd cases: Bezier and Catmull-Rom need two points ("Cannot evaluate bezier animation curve, a
// minimum of 2 points is required" and the Catmull-Rom form, printed at each rebuild), and leave
// the cache empty; an empty cache evaluates to 0, a single cached point to its value.
#include <cstdint>
#include <string>
#include <vector>

#include "world/sequence_base.h"

struct CurveAsset;

constexpr int32_t kCurveLinear = 0;
constexpr int32_t kCurveCatmullRom = 1;
constexpr int32_t kCurveBezier = 2;

class CCurvePoint final : public CSequenceBaseClass {
 public:
  static CCurvePoint* New();

  float posx = 0.0f;
  float value = 0.0f;
  // Offsets from the point, in the order of the file.
  float handleInX = 0.0f, handleInY = 0.0f, handleOutX = 0.0f, handleOutY = 0.0f;
};

struct CachedCurvePoint {
  float x, y;
};

class CAnimCurveChannel final : public CSequenceBaseClass {
 public:
  static CAnimCurveChannel* New();
  bool Mark(uint32_t* bitmap, int32_t bits) override;
  void Free(bool free_now) override;
  bool IsDirtySince(uint32_t stamp) const override;
  // Replaces the points (the collector learns of them) and records the edit.
  void SetPoints(std::vector<CCurvePoint*> points);

  std::string name;
  int32_t type = kCurveLinear;
  int32_t iterations = 16;
  std::vector<CCurvePoint*> points;
  std::vector<CachedCurvePoint> cached;
};

class CAnimCurve final : public CSequenceBaseClass {
 public:
  static CAnimCurve* New();
  ~CAnimCurve() override;
  bool Mark(uint32_t* bitmap, int32_t bits) override;
  void Free(bool free_now) override;
  bool IsDirtySince(uint32_t stamp) const override;
  void SetChannels(std::vector<CAnimCurveChannel*> channels);
  // The first channel of that name, or null.
  CAnimCurveChannel* FindChannel(const char* name) const;
  int32_t ChannelIndex(const char* name) const;

  std::string name;
  std::vector<CAnimCurveChannel*> channels;
  int32_t index = -1;  // slot in the curve table, -1 when not in it
};

// Rebuilds the cached points when needed (see the header's contract).
void Channel_Rebuild(CAnimCurveChannel* channel);
// The value at position, clamped to 0..1.
double Channel_Evaluate(CAnimCurveChannel* channel, double position);

// A new curve (not in the table) built from a record of the file or of a sequence.
CAnimCurve* AnimCurve_FromAsset(const CurveAsset& asset);

// ---- The curve table -------------------------------------------------------------------------------
CAnimCurve* AnimCurve_Get(int32_t id);
// Enters a curve in the lowest free slot; returns its id.
int32_t AnimCurve_Add(CAnimCurve* curve);
// Takes a curve out of the table (the object stays to the collector).
void AnimCurve_Remove(CAnimCurve* curve);
// Whether a curve came from the data file (those are held for the game).
bool AnimCurve_IsAsset(const CAnimCurve* curve);
// Builds the table from the ACRV records: curve i at slot i, held by the collector's roots.
void AnimCurve_BuildFromAssets();
// Empties the table and lets go of the file's curves.
void AnimCurve_FreeAll();

void AnimCurve_RegisterBuiltins();
