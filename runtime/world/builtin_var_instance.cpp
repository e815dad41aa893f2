// The instance rows of the builtin variable table, in manifest order, over CInstance's fields.
// Every row reads and writes the instance it is given: the table hands instance rows nothing else.
#include <cmath>
#include <cstdint>

#include "core/builtin_var.h"
#include "core/frame_state.h"
#include "world/builtin_var_rows.h"
#include "world/instance.h"
#include "world/instance_path.h"
#include "world/layer.h"
#include "world/motion.h"
#include "world/step.h"

bool (*g_BuiltinVarSpriteMetrics)(int32_t sprite, SpriteMetrics* out) = nullptr;

namespace {

using InstanceGet = bool (*)(CInstance* self, int32_t index, RValue* out);
using InstanceSet = bool (*)(CInstance* self, int32_t index, RValue* value);

bool real(RValue* out, double value) {
  *out = RV_Real(value);
  return true;
}

bool boolean(RValue* out, bool value) {
  *out = RV_Bool(value);
  return true;
}

float to_float(const RValue* value) { return static_cast<float>(BuiltinVar_Real(value)); }

bool has_flag(const CInstance* self, uint32_t flag) { return (self->flags & flag) != 0; }

void set_flag(CInstance* self, uint32_t flag, bool on) {
  if (on) {
    self->flags |= flag;
  } else {
    self->flags &= ~flag;
  }
}

// The bounding box, brought up to date first; without the collision subject it is the point.
float bbox(CInstance* self, int side) {
  if (has_flag(self, kInstBBoxDirty)) {
    if (g_InstanceWorldHooks.bboxUpdate == nullptr) return side == 0 || side == 1 ? self->x : self->y;
    g_InstanceWorldHooks.bboxUpdate(self);
  }
  const float sides[] = {self->bboxLeft, self->bboxRight, self->bboxTop, self->bboxBottom};
  return sides[side];
}

SpriteMetrics sprite_metrics(const CInstance* self) {
  SpriteMetrics metrics;
  if (g_BuiltinVarSpriteMetrics == nullptr || !g_BuiltinVarSpriteMetrics(self->spriteIndex, &metrics)) {
    metrics = SpriteMetrics{};
  }
  return metrics;
}

// Rows of the physics body that this platform doesn't have: they read 0 and ignore writes.
bool physics_get(CInstance*, int32_t, RValue* out) { return real(out, 0.0); }
bool physics_set(CInstance*, int32_t, RValue*) { return true; }

// The path record as read: an instance without one reads the record's initial values.
const InstancePathState& path_state(const CInstance* self) {
  static const InstancePathState kNone;
  return self->pathState != nullptr ? *self->pathState : kNone;
}

// Every write of a path position is clamped to 0..1.
float path_clamp(float t) {
  if (!(t > 0.0f)) return 0.0f;
  return t < 1.0f ? t : 1.0f;
}

struct Row {
  const char* name;
  InstanceGet get;
  InstanceSet set;
};

// A field row: reads and writes one float of the instance, with no side effects.
#define KV_FLOAT_ROW(name, field)                                                           \
  {name, +[](CInstance* self, int32_t, RValue* out) { return real(out, self->field); },    \
   +[](CInstance* self, int32_t, RValue* value) { self->field = to_float(value); return true; }}

const Row kRows[] = {
    {"x", +[](CInstance* self, int32_t, RValue* out) { return real(out, self->x); },
     +[](CInstance* self, int32_t, RValue* value) { Instance_SetPosition(self, to_float(value), self->y); return true; }},
    {"y", +[](CInstance* self, int32_t, RValue* out) { return real(out, self->y); },
     +[](CInstance* self, int32_t, RValue* value) { Instance_SetPosition(self, self->x, to_float(value)); return true; }},
    KV_FLOAT_ROW("xprevious", xprevious),
    KV_FLOAT_ROW("yprevious", yprevious),
    KV_FLOAT_ROW("xstart", xstart),
    KV_FLOAT_ROW("ystart", ystart),
    {"hspeed", +[](CInstance* self, int32_t, RValue* out) { return real(out, self->hspeed); },
     +[](CInstance* self, int32_t, RValue* value) { Motion_SetHSpeed(self, to_float(value)); return true; }},
    {"vspeed", +[](CInstance* self, int32_t, RValue* out) { return real(out, self->vspeed); },
     +[](CInstance* self, int32_t, RValue* value) { Motion_SetVSpeed(self, to_float(value)); return true; }},
    // Stored as written: only the angle derived from hspeed and vspeed is reduced to [0, 360).
    {"direction", +[](CInstance* self, int32_t, RValue* out) { return real(out, self->direction); },
     +[](CInstance* self, int32_t, RValue* value) { Motion_SetDirection(self, to_float(value)); return true; }},
    {"speed", +[](CInstance* self, int32_t, RValue* out) { return real(out, self->speed); },
     +[](CInstance* self, int32_t, RValue* value) { Motion_SetSpeed(self, to_float(value)); return true; }},
    KV_FLOAT_ROW("friction", friction),
    KV_FLOAT_ROW("gravity", gravity),
    KV_FLOAT_ROW("gravity_direction", gravityDirection),
    {"in_collision_tree", +[](CInstance* self, int32_t, RValue* out) { return boolean(out, has_flag(self, kInstInCollisionTree)); }, nullptr},
    {"object_index", +[](CInstance* self, int32_t, RValue* out) { return real(out, self->objectIndex); }, nullptr},
    {"id", +[](CInstance* self, int32_t, RValue* out) {
       *out = Instance_Ref(self->id);
       return true;
     }, nullptr},
    {"alarm", +[](CInstance* self, int32_t index, RValue* out) {
       return real(out, self->alarm[BuiltinVar_Index(index, kInstanceAlarmCount)]);
     },
     +[](CInstance* self, int32_t index, RValue* value) {
       const double steps = std::floor(BuiltinVar_Real(value));
       self->alarm[BuiltinVar_Index(index, kInstanceAlarmCount)] =
           std::isnan(steps) ? 0 : static_cast<int32_t>(std::fmax(std::fmin(steps, INT32_MAX), INT32_MIN));
       return true;
     }},
    {"solid", +[](CInstance* self, int32_t, RValue* out) { return boolean(out, has_flag(self, kInstSolid)); },
     +[](CInstance* self, int32_t, RValue* value) { set_flag(self, kInstSolid, BuiltinVar_Bool(value)); return true; }},
    {"visible", +[](CInstance* self, int32_t, RValue* out) { return boolean(out, has_flag(self, kInstVisible)); },
     +[](CInstance* self, int32_t, RValue* value) {
       const bool visible = BuiltinVar_Bool(value);
       set_flag(self, kInstVisible, visible);
       Instance_SnapshotsDirty();
       return true;
     }},
    {"managed", +[](CInstance* self, int32_t, RValue* out) { return boolean(out, has_flag(self, kInstManaged)); }, nullptr},
    {"persistent", +[](CInstance* self, int32_t, RValue* out) { return boolean(out, has_flag(self, kInstPersistent)); },
     +[](CInstance* self, int32_t, RValue* value) { set_flag(self, kInstPersistent, BuiltinVar_Bool(value)); return true; }},
    {"depth", +[](CInstance* self, int32_t, RValue* out) { return real(out, self->depth); },
     +[](CInstance* self, int32_t, RValue* value) { Instance_SetDepth(self, to_float(value)); return true; }},
    {"bbox_left", +[](CInstance* self, int32_t, RValue* out) { return real(out, bbox(self, 0)); }, nullptr},
    {"bbox_right", +[](CInstance* self, int32_t, RValue* out) { return real(out, bbox(self, 1)); }, nullptr},
    {"bbox_top", +[](CInstance* self, int32_t, RValue* out) { return real(out, bbox(self, 2)); }, nullptr},
    {"bbox_bottom", +[](CInstance* self, int32_t, RValue* out) { return real(out, bbox(self, 3)); }, nullptr},
    {"sprite_index", +[](CInstance* self, int32_t, RValue* out) { return real(out, self->spriteIndex); },
     +[](CInstance* self, int32_t, RValue* value) {
       Instance_SetSprite(self, BuiltinVar_Int(value));
       return true;
     }},
    {"image_index", +[](CInstance* self, int32_t, RValue* out) { return real(out, self->imageIndex); },
     +[](CInstance* self, int32_t, RValue* value) { Instance_SetImageIndex(self, to_float(value)); return true; }},
    {"image_single", +[](CInstance* self, int32_t, RValue* out) {
       return real(out, self->imageSpeed == 0.0f ? self->imageIndex : -1.0);
     },
     +[](CInstance* self, int32_t, RValue* value) {
       const double single = BuiltinVar_Real(value);
       if (single < 0.0) {
         self->imageSpeed = 1.0f;
       } else {
         Instance_SetImageIndex(self, static_cast<float>(single));
         self->imageSpeed = 0.0f;
       }
       return true;
     }},
    {"image_number", +[](CInstance* self, int32_t, RValue* out) { return real(out, sprite_metrics(self).frames); }, nullptr},
    {"sprite_width", +[](CInstance* self, int32_t, RValue* out) {
       return real(out, sprite_metrics(self).width * self->imageXScale);
     }, nullptr},
    {"sprite_height", +[](CInstance* self, int32_t, RValue* out) {
       return real(out, sprite_metrics(self).height * self->imageYScale);
     }, nullptr},
    {"sprite_xoffset", +[](CInstance* self, int32_t, RValue* out) { return real(out, sprite_metrics(self).xoffset); }, nullptr},
    {"sprite_yoffset", +[](CInstance* self, int32_t, RValue* out) { return real(out, sprite_metrics(self).yoffset); }, nullptr},
    {"image_xscale", +[](CInstance* self, int32_t, RValue* out) { return real(out, self->imageXScale); },
     +[](CInstance* self, int32_t, RValue* value) { Instance_SetScale(self, to_float(value), self->imageYScale); return true; }},
    {"image_yscale", +[](CInstance* self, int32_t, RValue* out) { return real(out, self->imageYScale); },
     +[](CInstance* self, int32_t, RValue* value) { Instance_SetScale(self, self->imageXScale, to_float(value)); return true; }},
    {"image_angle", +[](CInstance* self, int32_t, RValue* out) { return real(out, self->imageAngle); },
     +[](CInstance* self, int32_t, RValue* value) { Instance_SetAngle(self, to_float(value)); return true; }},
    KV_FLOAT_ROW("image_alpha", imageAlpha),
    {"image_blend", +[](CInstance* self, int32_t, RValue* out) { return real(out, self->imageBlend); },
     +[](CInstance* self, int32_t, RValue* value) {
       self->imageBlend = static_cast<uint32_t>(static_cast<int64_t>(std::nearbyint(BuiltinVar_Real(value))));
       return true;
     }},
    KV_FLOAT_ROW("image_speed", imageSpeed),
    {"mask_index", +[](CInstance* self, int32_t, RValue* out) { return real(out, self->maskIndex); },
     +[](CInstance* self, int32_t, RValue* value) {
       Instance_SetMask(self, BuiltinVar_Int(value));
       return true;
     }},
    {"path_index", +[](CInstance* self, int32_t, RValue* out) { return real(out, path_state(self).pathIndex); }, nullptr},
    {"path_position", +[](CInstance* self, int32_t, RValue* out) { return real(out, path_state(self).pathPosition); },
     +[](CInstance* self, int32_t, RValue* value) {
       InstancePath_Get(self)->pathPosition = path_clamp(to_float(value));
       return true;
     }},
    {"path_positionprevious",
     +[](CInstance* self, int32_t, RValue* out) { return real(out, path_state(self).pathPositionPrevious); },
     +[](CInstance* self, int32_t, RValue* value) {
       InstancePath_Get(self)->pathPositionPrevious = path_clamp(to_float(value));
       return true;
     }},
    {"path_speed", +[](CInstance* self, int32_t, RValue* out) { return real(out, path_state(self).pathSpeed); },
     +[](CInstance* self, int32_t, RValue* value) { InstancePath_Get(self)->pathSpeed = to_float(value); return true; }},
    {"path_scale", +[](CInstance* self, int32_t, RValue* out) { return real(out, path_state(self).pathScale); },
     +[](CInstance* self, int32_t, RValue* value) { InstancePath_Get(self)->pathScale = to_float(value); return true; }},
    {"path_orientation", +[](CInstance* self, int32_t, RValue* out) { return real(out, path_state(self).pathOrientation); },
     +[](CInstance* self, int32_t, RValue* value) { InstancePath_Get(self)->pathOrientation = to_float(value); return true; }},
    {"path_endaction", +[](CInstance* self, int32_t, RValue* out) { return real(out, path_state(self).pathEndAction); },
     +[](CInstance* self, int32_t, RValue* value) { InstancePath_Get(self)->pathEndAction = BuiltinVar_Int(value); return true; }},
    {"timeline_index", +[](CInstance* self, int32_t, RValue* out) {
       return real(out, self->pathState != nullptr ? self->pathState->timelineIndex : -1);
     },
     +[](CInstance* self, int32_t, RValue* value) { InstancePath_Get(self)->timelineIndex = BuiltinVar_Int(value); return true; }},
    {"timeline_position", +[](CInstance* self, int32_t, RValue* out) {
       return real(out, self->pathState != nullptr ? self->pathState->timelinePosition : 0.0f);
     },
     +[](CInstance* self, int32_t, RValue* value) { InstancePath_Get(self)->timelinePosition = to_float(value); return true; }},
    {"timeline_speed", +[](CInstance* self, int32_t, RValue* out) {
       return real(out, self->pathState != nullptr ? self->pathState->timelineSpeed : 1.0f);
     },
     +[](CInstance* self, int32_t, RValue* value) { InstancePath_Get(self)->timelineSpeed = to_float(value); return true; }},
    {"timeline_running", +[](CInstance* self, int32_t, RValue* out) { return boolean(out, has_flag(self, kInstTimelineRuns)); },
     +[](CInstance* self, int32_t, RValue* value) { set_flag(self, kInstTimelineRuns, BuiltinVar_Bool(value)); return true; }},
    {"timeline_loop", +[](CInstance* self, int32_t, RValue* out) { return boolean(out, has_flag(self, kInstTimelineLoops)); },
     +[](CInstance* self, int32_t, RValue* value) { set_flag(self, kInstTimelineLoops, BuiltinVar_Bool(value)); return true; }},
    // The maps of asynchronous events: none is being delivered outside them.
    {"async_load", +[](CInstance*, int32_t, RValue* out) { return real(out, Step_AsyncLoadMap()); }, nullptr},
    {"event_data", +[](CInstance*, int32_t, RValue* out) { return real(out, -1.0); }, nullptr},
    {"iap_data", +[](CInstance*, int32_t, RValue* out) { return real(out, -1.0); }, nullptr},
    {"phy_rotation", physics_get, physics_set},
    {"phy_position_x", physics_get, physics_set},
    {"phy_position_y", physics_get, physics_set},
    {"phy_angular_velocity", physics_get, physics_set},
    {"phy_linear_velocity_x", physics_get, physics_set},
    {"phy_linear_velocity_y", physics_get, physics_set},
    {"phy_speed_x", physics_get, physics_set},
    {"phy_speed_y", physics_get, physics_set},
    {"phy_angular_damping", physics_get, physics_set},
    {"phy_linear_damping", physics_get, physics_set},
    {"phy_bullet", physics_get, physics_set},
    {"phy_fixed_rotation", physics_get, physics_set},
    {"phy_active", physics_get, physics_set},
    {"phy_mass", physics_get, nullptr},
    {"phy_inertia", physics_get, nullptr},
    {"phy_com_x", physics_get, nullptr},
    {"phy_com_y", physics_get, nullptr},
    {"phy_speed", physics_get, nullptr},
    {"phy_dynamic", physics_get, nullptr},
    {"phy_kinematic", physics_get, nullptr},
    {"phy_sleeping", physics_get, nullptr},
    {"phy_position_xprevious", physics_get, nullptr},
    {"phy_position_yprevious", physics_get, nullptr},
    {"phy_collision_points", physics_get, nullptr},
    {"phy_collision_x", physics_get, nullptr},
    {"phy_collision_y", physics_get, nullptr},
    {"phy_col_normal_x", physics_get, nullptr},
    {"phy_col_normal_y", physics_get, nullptr},
    // The display subject reports its antialiasing levels; none are known without it.
    {"display_aa", +[](CInstance*, int32_t, RValue* out) { return real(out, 0.0); }, nullptr},
    {"delta_time", +[](CInstance*, int32_t, RValue* out) { return real(out, static_cast<double>(Run_DeltaTime)); }, nullptr},
    {"webgl_enabled", +[](CInstance*, int32_t, RValue* out) { return real(out, 0.0); }, nullptr},
    {"layer",
     +[](CInstance* self, int32_t, RValue* out) {
       // A managed layer is the instance's private one, made for its depth: scripts see no layer.
       const CLayer* layer = self->layerId >= 0 ? Layer_Find(Run_Room, self->layerId) : nullptr;
       return real(out, layer != nullptr && !layer->managed ? self->layerId : -1);
     },
     +[](CInstance* self, int32_t, RValue* value) {
       const int32_t layer = BuiltinVar_Int(value);
       const InstanceWorldHooks& hooks = g_InstanceWorldHooks;
       if (hooks.layerExists != nullptr && !hooks.layerExists(layer)) return true;
       if (hooks.layerLeave != nullptr) hooks.layerLeave(self);
       self->layerId = layer;
       if (hooks.layerEnter != nullptr) hooks.layerEnter(self, layer);
       return true;
     }},
    {"in_sequence", +[](CInstance* self, int32_t, RValue* out) {
       return boolean(out, (self->flags & (kInstSequenceA | kInstInSequence | kInstSequenceB)) == kInstInSequence);
     }, nullptr},
    {"sequence_instance", +[](CInstance* self, int32_t, RValue* out) {
       if (self->sequenceInstance == nullptr) return real(out, -1.0);
       *out = RV_Object(self->sequenceInstance);
       return true;
     }, nullptr},
    {"drawn_by_sequence", +[](CInstance* self, int32_t, RValue* out) { return boolean(out, has_flag(self, kInstSequenceA)); },
     +[](CInstance* self, int32_t, RValue* value) { set_flag(self, kInstSequenceA, BuiltinVar_Bool(value)); return true; }},
};

#undef KV_FLOAT_ROW

}  // namespace

void BuiltinVar_AddInstanceRows() {
  for (const Row& row : kRows) {
    Variable_BuiltIn_Add(row.name, row.get, row.set);
  }
}
