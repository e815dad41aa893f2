// The animcurve_* builtins: argument reading here, the objects and their evaluation in
// anim_curve.cpp. A curve argument is a curve id or a curve struct; one that names nothing raises
// "<name>() - specified animation curve does not exist".
#include "core/console.h"
#include "core/error.h"
#include "core/fn_value_internal.h"
#include "core/function_table.h"
#include "world/anim_curve.h"

namespace {

using fn_value::is_number;
using fn_value::set_result;
using fn_value::with_args;

#define FN_CURVE(name)                                                                                            \
  void name([[maybe_unused]] RValue* result, [[maybe_unused]] CInstance* self, [[maybe_unused]] CInstance* other, \
            [[maybe_unused]] int argc, [[maybe_unused]] RValue* argv)

// The curve an argument names: a curve struct (in the table or not) or the id of one.
CAnimCurve* curve_of(const RValue& value) {
  if (KVObjectBase* object = RV_ObjectOf(value)) return dynamic_cast<CAnimCurve*>(object);
  return is_number(value) ? AnimCurve_Get(RV_ToInt32(value)) : nullptr;
}

CAnimCurve* curve_or_raise(const char* name, const RValue& value) {
  CAnimCurve* curve = curve_of(value);
  if (curve == nullptr) KVError("%s() - specified animation curve does not exist", name);
  return curve;
}

FN_CURVE(F_AnimcurveGet) {
  set_result(result, RV_Undefined());
  if (CAnimCurve* curve = curve_or_raise("animcurve_get", argv[0])) set_result(result, RV_Object(curve));
}

// By name, or by position when the second argument is a number; undefined for none.
FN_CURVE(F_AnimcurveGetChannel) {
  set_result(result, RV_Undefined());
  CAnimCurve* curve = curve_or_raise("animcurve_get_channel", argv[0]);
  if (curve == nullptr) return;
  CAnimCurveChannel* channel = nullptr;
  if (is_number(argv[1])) {
    const int32_t at = RV_ToInt32(argv[1]);
    if (at >= 0 && static_cast<size_t>(at) < curve->channels.size()) channel = curve->channels[static_cast<size_t>(at)];
  } else {
    channel = curve->FindChannel(RV_StringText(argv[1]));
  }
  if (channel == nullptr) {
    g_ReleaseConsole->Output("animcurve_get_channel() - specified channel does not exist in curve \"%s\"\n",
                             curve->name.c_str());
    return;
  }
  set_result(result, RV_Object(channel));
}

FN_CURVE(F_AnimcurveGetChannelIndex) {
  set_result(result, RV_Real(-1));
  if (CAnimCurve* curve = curve_or_raise("animcurve_get_channel_index", argv[0])) {
    set_result(result, RV_Real(curve->ChannelIndex(RV_StringText(argv[1]))));
  }
}

FN_CURVE(F_AnimcurveChannelEvaluate) {
  set_result(result, RV_Undefined());
  if (argc != 2) {
    KVError("animcurvechannel_evaluate() - wrong number of arguments");
    return;
  }
  KVObjectBase* object = RV_ObjectOf(argv[0]);
  auto* channel = object != nullptr ? dynamic_cast<CAnimCurveChannel*>(object) : nullptr;
  if (channel == nullptr) {
    KVError("animcurvechannel_evaluate() - first parameter is not valid animation curve channel");
    return;
  }
  set_result(result, RV_Real(Channel_Evaluate(channel, RV_ToDouble(argv[1]))));
}

FN_CURVE(F_AnimcurveCreate) {
  CAnimCurve* curve = CAnimCurve::New();
  AnimCurve_Add(curve);
  set_result(result, RV_Object(curve));
}

// A curve of the data file stays: it belongs to the game.
FN_CURVE(F_AnimcurveDestroy) {
  set_result(result, RV_Undefined());
  CAnimCurve* curve = curve_or_raise("animcurve_destroy", argv[0]);
  if (curve == nullptr) return;
  if (AnimCurve_IsAsset(curve)) {
    g_ReleaseConsole->Output("animcurve_destroy() - can't destroy an animation curve of the game's data\n");
    return;
  }
  AnimCurve_Remove(curve);
}

FN_CURVE(F_AnimcurveExists) {
  const CAnimCurve* curve = curve_of(argv[0]);
  set_result(result, RV_Bool(curve != nullptr && curve->index >= 0));
}

FN_CURVE(F_AnimcurveChannelNew) { set_result(result, RV_Object(CAnimCurveChannel::New())); }
FN_CURVE(F_AnimcurvePointNew) { set_result(result, RV_Object(CCurvePoint::New())); }

#undef FN_CURVE

}  // namespace

void AnimCurve_RegisterBuiltins() {
  Function_Add("animcurve_get", with_args<F_AnimcurveGet, 1>, 1, 0);
  Function_Add("animcurve_get_channel", with_args<F_AnimcurveGetChannel, 2>, 2, 0);
  Function_Add("animcurve_get_channel_index", with_args<F_AnimcurveGetChannelIndex, 2>, 2, 0);
  Function_Add("animcurve_channel_evaluate", F_AnimcurveChannelEvaluate, 2, 0);
  Function_Add("animcurve_create", F_AnimcurveCreate, 0, 0);
  Function_Add("animcurve_destroy", with_args<F_AnimcurveDestroy, 1>, 1, 0);
  Function_Add("animcurve_exists", with_args<F_AnimcurveExists, 1>, 1, 0);
  Function_Add("animcurve_channel_new", F_AnimcurveChannelNew, 0, 0);
  Function_Add("animcurve_point_new", F_AnimcurvePointNew, 0, 0);
}
