// Curve objects with their script properties, the cached polyline of a channel and its evaluation,
// and the curve table.
#include "world/anim_curve.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "core/console.h"
#include "core/error.h"
#include "core/gc.h"
#include "world/asset_curves.h"

namespace {

ScriptObjectTable<CAnimCurve> g_curves;

// ---- Properties -------------------------------------------------------------------------------------

#define CURVE_PROPERTY SEQUENCE_PROPERTY

CURVE_PROPERTY(curve_get_name) {
  if (auto* curve = SequenceProperty_Self<CAnimCurve>(self, index)) SequenceProperty_SetString(result, curve->name.c_str());
}
CURVE_PROPERTY(curve_set_name) {
  if (auto* curve = SequenceProperty_Self<CAnimCurve>(self, index)) curve->name = RV_StringText(argv[0]);
}
CURVE_PROPERTY(curve_get_channels) {
  if (auto* curve = Sequence_Self<CAnimCurve>(self)) SequenceProperty_SetObjects(result, curve->channels);
}
CURVE_PROPERTY(curve_set_channels) {
  auto* curve = SequenceProperty_Self<CAnimCurve>(self, index);
  std::vector<CAnimCurveChannel*> channels;
  if (curve != nullptr &&
      SequenceProperty_ReadObjects(argv[0], "channels", "an animation curve channel", &channels)) {
    curve->SetChannels(std::move(channels));
  }
}

CURVE_PROPERTY(channel_get_name) {
  if (auto* channel = SequenceProperty_Self<CAnimCurveChannel>(self, index)) {
    SequenceProperty_SetString(result, channel->name.c_str());
  }
}
CURVE_PROPERTY(channel_set_name) {
  if (auto* channel = SequenceProperty_Self<CAnimCurveChannel>(self, index)) channel->name = RV_StringText(argv[0]);
}
CURVE_PROPERTY(channel_get_type) {
  if (auto* channel = SequenceProperty_Self<CAnimCurveChannel>(self, index)) *result = RV_Real(channel->type);
}
CURVE_PROPERTY(channel_set_type) {
  if (auto* channel = SequenceProperty_Self<CAnimCurveChannel>(self, index)) {
    channel->type = RV_ToInt32(argv[0]);
    channel->cached.clear();
    channel->Touch();
  }
}
CURVE_PROPERTY(channel_get_iterations) {
  if (auto* channel = SequenceProperty_Self<CAnimCurveChannel>(self, index)) *result = RV_Real(channel->iterations);
}
CURVE_PROPERTY(channel_set_iterations) {
  if (auto* channel = SequenceProperty_Self<CAnimCurveChannel>(self, index)) {
    channel->iterations = RV_ToInt32(argv[0]);
    channel->cached.clear();
    channel->Touch();
  }
}
CURVE_PROPERTY(channel_get_points) {
  if (auto* channel = Sequence_Self<CAnimCurveChannel>(self)) SequenceProperty_SetObjects(result, channel->points);
}
CURVE_PROPERTY(channel_set_points) {
  auto* channel = SequenceProperty_Self<CAnimCurveChannel>(self, index);
  std::vector<CCurvePoint*> points;
  if (channel != nullptr && SequenceProperty_ReadObjects(argv[0], "points", "a point", &points)) {
    channel->SetPoints(std::move(points));
  }
}

CURVE_PROPERTY(point_get_posx) {
  if (auto* point = SequenceProperty_Self<CCurvePoint>(self, index)) *result = RV_Real(point->posx);
}
CURVE_PROPERTY(point_set_posx) {
  if (auto* point = SequenceProperty_Self<CCurvePoint>(self, index)) {
    point->posx = static_cast<float>(RV_ToDouble(argv[0]));
    point->Touch();
  }
}
CURVE_PROPERTY(point_get_value) {
  if (auto* point = SequenceProperty_Self<CCurvePoint>(self, index)) *result = RV_Real(point->value);
}
CURVE_PROPERTY(point_set_value) {
  if (auto* point = SequenceProperty_Self<CCurvePoint>(self, index)) {
    point->value = static_cast<float>(RV_ToDouble(argv[0]));
    point->Touch();
  }
}

#undef CURVE_PROPERTY

ScriptStructClass g_curve_class("AnimationCurve", {
                                                      {"name", curve_get_name, curve_set_name},
                                                      {"channels", curve_get_channels, curve_set_channels},
                                                  });
ScriptStructClass g_channel_class("AnimationCurveChannel", {
                                                               {"name", channel_get_name, channel_set_name},
                                                               {"type", channel_get_type, channel_set_type},
                                                               {"iterations", channel_get_iterations,
                                                                channel_set_iterations},
                                                               {"points", channel_get_points, channel_set_points},
                                                           });
ScriptStructClass g_point_class("CurvePoint", {
                                                  {"posx", point_get_posx, point_set_posx},
                                                  {"value", point_get_value, point_set_value},
                                              });

// ---- Cached points ----------------------------------------------------------------------------------

void rebuild_linear(CAnimCurveChannel* channel) {
  for (const CCurvePoint* p : channel->points) channel->cached.push_back({p->posx, p->value});
}

void rebuild_bezier(CAnimCurveChannel* channel) {
  const std::vector<CCurvePoint*>& points = channel->points;
  if (points.size() < 2) {
    g_ReleaseConsole->Output("Cannot evaluate bezier animation curve, a minimum of 2 points is required\n");
    return;
  }
  const int32_t n = 2 * channel->iterations;
  const float step = n > 0 ? 1.0f / static_cast<float>(n) : 0.0f;
  for (size_t k = 0; k + 1 < points.size(); ++k) {
    const CCurvePoint& p = *points[k];
    const CCurvePoint& q = *points[k + 1];
    const float c1x = p.posx + p.handleOutX, c1y = p.value + p.handleOutY;
    const float c2x = q.posx + q.handleInX, c2y = q.value + q.handleInY;
    for (int32_t i = 0; i < n; ++i) {
      const float t = static_cast<float>(i) * step;
      const float u = 1.0f - t;
      const float x = 3.0f * c1x * u * u * t + p.posx * u * u * u + 3.0f * c2x * u * t * t + q.posx * t * t * t;
      const float y = 3.0f * c1y * u * u * t + p.value * u * u * u + 3.0f * c2y * u * t * t + q.value * t * t * t;
      channel->cached.push_back({x, y});
    }
  }
  channel->cached.push_back({points.back()->posx, points.back()->value});
}

struct WorkPoint {
  double x, y;
};

// The centripetal knot step between two working points.
double knot_step(const WorkPoint& a, const WorkPoint& b) {
  double squared = (b.x - a.x) * (b.x - a.x) + (b.y - a.y) * (b.y - a.y);
  if (squared == 0.0) squared = 0.0001;
  return std::sqrt(std::sqrt(squared));
}

WorkPoint mix(const WorkPoint& a, const WorkPoint& b, double ta, double tb, double t) {
  const double span = tb - ta;
  const double wa = (tb - t) / span, wb = (t - ta) / span;
  return {wa * a.x + wb * b.x, wa * a.y + wb * b.y};
}

void rebuild_catmull_rom(CAnimCurveChannel* channel) {
  const std::vector<CCurvePoint*>& points = channel->points;
  if (points.size() < 2) {
    g_ReleaseConsole->Output("Cannot evaluate catmull-rom animation curve, a minimum of 2 points is required\n");
    return;
  }
  float ymin = points[0]->value, ymax = points[0]->value;
  for (const CCurvePoint* p : points) {
    ymin = std::min(ymin, p->value);
    ymax = std::max(ymax, p->value);
  }
  const double spread = static_cast<double>(ymax) - ymin;
  const double scale = spread > 1.0 ? spread : 1.0;
  // The first and last points stand twice, so that every segment has a run of four.
  std::vector<WorkPoint> work;
  work.reserve(points.size() + 2);
  auto working = [&](const CCurvePoint* p) { return WorkPoint{p->posx, (p->value - ymin) / scale}; };
  work.push_back(working(points.front()));
  for (const CCurvePoint* p : points) work.push_back(working(p));
  work.push_back(working(points.back()));

  const int32_t samples = channel->iterations;
  for (size_t k = 0; k + 3 < work.size(); ++k) {
    const WorkPoint& p0 = work[k];
    const WorkPoint& p1 = work[k + 1];
    const WorkPoint& p2 = work[k + 2];
    const WorkPoint& p3 = work[k + 3];
    const double t0 = 0.0;
    const double t1 = t0 + knot_step(p0, p1);
    const double t2 = t1 + knot_step(p1, p2);
    const double t3 = t2 + knot_step(p2, p3);
    const double step = samples > 0 ? (t2 - t1) / samples : 0.0;
    for (int32_t i = 0; i < samples; ++i) {
      const double t = t1 + step * i;
      // Barry and Goldman's pyramid.
      const WorkPoint a1 = mix(p0, p1, t0, t1, t);
      const WorkPoint a2 = mix(p1, p2, t1, t2, t);
      const WorkPoint a3 = mix(p2, p3, t2, t3, t);
      const WorkPoint b1 = mix(a1, a2, t0, t2, t);
      const WorkPoint b2 = mix(a2, a3, t1, t3, t);
      const WorkPoint c = mix(b1, b2, t1, t2, t);
      double x = c.x;
      if (!channel->cached.empty() && x < channel->cached.back().x) x = channel->cached.back().x;
      if (x > p2.x) x = p2.x;
      channel->cached.push_back({static_cast<float>(x), static_cast<float>(c.y * scale + ymin)});
    }
  }
  channel->cached.push_back({points.back()->posx, points.back()->value});
}

}  // namespace

// ---- Objects ------------------------------------------------------------------------------------------

CCurvePoint* CCurvePoint::New() { return g_point_class.make<CCurvePoint>(); }

CAnimCurveChannel* CAnimCurveChannel::New() { return g_channel_class.make<CAnimCurveChannel>(); }

bool CAnimCurveChannel::Mark(uint32_t* bitmap, int32_t bits) {
  if (!CSequenceBaseClass::Mark(bitmap, bits)) return false;
  Sequence_MarkAll(points);
  return true;
}

void CAnimCurveChannel::Free(bool free_now) {
  points.clear();
  cached.clear();
  CSequenceBaseClass::Free(free_now);
}

bool CAnimCurveChannel::IsDirtySince(uint32_t stamp) const {
  if (changeStamp > stamp) return true;
  return std::any_of(points.begin(), points.end(), [stamp](const CCurvePoint* p) { return p->IsDirtySince(stamp); });
}

void CAnimCurveChannel::SetPoints(std::vector<CCurvePoint*> replacement) {
  points = std::move(replacement);
  for (CCurvePoint* point : points) Sequence_LinkChild(this, point);
  cached.clear();
  Touch();
}

CAnimCurve* CAnimCurve::New() { return g_curve_class.make<CAnimCurve>(); }

CAnimCurve::~CAnimCurve() { AnimCurve_Remove(this); }

bool CAnimCurve::Mark(uint32_t* bitmap, int32_t bits) {
  if (!CSequenceBaseClass::Mark(bitmap, bits)) return false;
  Sequence_MarkAll(channels);
  return true;
}

void CAnimCurve::Free(bool free_now) {
  AnimCurve_Remove(this);
  channels.clear();
  CSequenceBaseClass::Free(free_now);
}

bool CAnimCurve::IsDirtySince(uint32_t stamp) const {
  if (changeStamp > stamp) return true;
  return std::any_of(channels.begin(), channels.end(),
                     [stamp](const CAnimCurveChannel* c) { return c->IsDirtySince(stamp); });
}

void CAnimCurve::SetChannels(std::vector<CAnimCurveChannel*> replacement) {
  channels = std::move(replacement);
  for (CAnimCurveChannel* channel : channels) Sequence_LinkChild(this, channel);
  Touch();
}

CAnimCurveChannel* CAnimCurve::FindChannel(const char* wanted) const {
  const int32_t at = ChannelIndex(wanted);
  return at >= 0 ? channels[static_cast<size_t>(at)] : nullptr;
}

int32_t CAnimCurve::ChannelIndex(const char* wanted) const {
  for (size_t i = 0; wanted != nullptr && i < channels.size(); ++i) {
    if (channels[i]->name == wanted) return static_cast<int32_t>(i);
  }
  return -1;
}

// ---- Evaluation ---------------------------------------------------------------------------------------

void Channel_Rebuild(CAnimCurveChannel* channel) {
  bool rebuild = channel->cached.empty();
  if (channel->checkStamp < GlobalChangeCounter) {
    rebuild = rebuild || channel->IsDirtySince(channel->checkStamp);
    channel->checkStamp = GlobalChangeCounter;
  }
  if (!rebuild) return;
  channel->cached.clear();
  switch (channel->type) {
    case kCurveBezier: rebuild_bezier(channel); break;
    case kCurveCatmullRom: rebuild_catmull_rom(channel); break;
    default: rebuild_linear(channel); break;
  }
}

double Channel_Evaluate(CAnimCurveChannel* channel, double position) {
  Channel_Rebuild(channel);
  const std::vector<CachedCurvePoint>& p = channel->cached;
  if (p.empty()) return 0.0;
  if (p.size() == 1) return p[0].y;
  const double t = std::clamp(position, 0.0, 1.0);
  size_t hi = p.size() - 1;
  size_t i = hi >> 1;
  if (i != 0) {
    size_t lo = 0;
    while (i != lo) {
      if (p[i].x > t) {
        hi = i;
      } else {
        lo = i;
      }
      i = (lo + hi) >> 1;
    }
  }
  const CachedCurvePoint& a = p[i];
  const CachedCurvePoint& b = p[i + 1];
  if (a.x == b.x) return a.y;
  return a.y + (t - a.x) / (static_cast<double>(b.x) - a.x) * (static_cast<double>(b.y) - a.y);
}

CAnimCurve* AnimCurve_FromAsset(const CurveAsset& asset) {
  CAnimCurve* curve = CAnimCurve::New();
  if (asset.name != nullptr) curve->name = asset.name;
  std::vector<CAnimCurveChannel*> channels;
  for (const CurveChannelAsset& source : asset.channels) {
    CAnimCurveChannel* channel = CAnimCurveChannel::New();
    if (source.name != nullptr) channel->name = source.name;
    channel->type = source.type;
    channel->iterations = source.iterations;
    std::vector<CCurvePoint*> points;
    for (const CurvePointAsset& from : source.points) {
      CCurvePoint* point = CCurvePoint::New();
      point->posx = from.posx;
      point->value = from.value;
      point->handleInX = from.handleInX;
      point->handleInY = from.handleInY;
      point->handleOutX = from.handleOutX;
      point->handleOutY = from.handleOutY;
      points.push_back(point);
    }
    channel->SetPoints(std::move(points));
    channels.push_back(channel);
  }
  curve->SetChannels(std::move(channels));
  return curve;
}

// ---- The table ----------------------------------------------------------------------------------------

CAnimCurve* AnimCurve_Get(int32_t id) { return g_curves.get(id); }
int32_t AnimCurve_Add(CAnimCurve* curve) { return g_curves.add(curve); }
void AnimCurve_Remove(CAnimCurve* curve) { g_curves.remove(curve); }
bool AnimCurve_IsAsset(const CAnimCurve* curve) { return g_curves.is_asset(curve); }
void AnimCurve_FreeAll() { g_curves.free_all(); }

void AnimCurve_BuildFromAssets() {
  const AssetTable<CurveAsset>& assets = CurveAsset_Table();
  g_curves.reset_assets(static_cast<size_t>(assets.count()));
  for (int32_t i = 0; i < assets.count(); ++i) {
    if (const CurveAsset* asset = assets.get(i)) g_curves.set_asset(i, AnimCurve_FromAsset(*asset));
  }
}
