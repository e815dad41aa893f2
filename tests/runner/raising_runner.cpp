// The real runner with a small compiled script table linked in, for process tests of the error
// path and of the collector's start-up and shutdown. Row 0 is a global initialiser that fails two
// calls down; row 2 first installs row 3 as the exception_unhandled_handler (which ends the process
// with status 7) and then fails the same way. Row 4 reports the collector's state during start-up,
// drops a struct whose finaliser is row 5 (it reports the generation of an object made then), and
// ends the game.
// It opens the runner's own window and GL device where a display is named, so the error path can
// be seen ending a process that has a window.
#include "core/console.h"
#include "core/object.h"
#include "core/script_api.h"
#include "platform/gl/gl_device.h"
#include "platform/sdl/sdl_window_host.h"
#include "script_runner.h"

namespace {

RValue* Leaf(CInstance* self, CInstance* other, RValue* result, int, RValue**) {
  tsl::ScriptScope scope("tsl_Script_leaf", self, result);
  scope.line(3);
  tsl::call("is_real", self, other, {RV_Undefined()});
  KVError("Variable %s not set before reading it.", "hp");
  return result;
}

RValue* Boot(CInstance* self, CInstance* other, RValue* result, int, RValue**) {
  tsl::ScriptScope scope("tsl_GlobalScript_boot", self, result);
  scope.line(1);
  tsl::call(Leaf, self, other);
  return result;
}

RValue* HandledBoot(CInstance* self, CInstance* other, RValue* result, int, RValue**) {
  tsl::ScriptScope scope("tsl_GlobalScript_handled_boot", self, result);
  tsl::call("exception_unhandled_handler", self, other, {RV_Real(100003)});
  scope.line(2);
  tsl::call(Leaf, self, other);
  return result;
}

RValue* Handler(CInstance* self, CInstance*, RValue* result, int argc, RValue** argv) {
  tsl::ScriptScope scope("tsl_Script_handler", self, result);
  tsl::Value message = tsl::get(KV_AsInstance(tsl::Value::Copy(tsl::arg(argc, argv, 0)).object()), "message");
  g_OutputConsole->Output("handled: %s\n", RV_StringText(*message));
  return scope.give(tsl::Value::Real(7));
}

double generation_count(const tsl::Value& stats, int32_t generation) {
  const tsl::Value counts = tsl::get(KV_AsInstance(stats.object()), "num_objects_in_generation");
  if (RV_Kind(*counts) != kRVArray || (*counts).pArray->length <= generation) return -1;
  return RV_ToDouble((*counts).pArray->pArray[generation]);
}

RValue* Disposed(CInstance* self, CInstance*, RValue* result, int, RValue**) {
  tsl::ScriptScope scope("tsl_Script_disposed", self, result);
  const tsl::Value made = tsl::call("@@NewTSLObject@@", nullptr, nullptr);
  g_OutputConsole->Output("finaliser ran; an object made now is of generation %d\n", made.object()->generation);
  return result;
}

RValue* CollectorReport(CInstance* self, CInstance* other, RValue* result, int, RValue**) {
  tsl::ScriptScope scope("tsl_GlobalScript_collector_report", self, result);
  const tsl::Value enabled = tsl::call("gc_is_enabled", self, other);
  const tsl::Value stats = tsl::call("gc_get_stats", self, other);
  g_OutputConsole->Output("collector enabled %g; start-up objects of generation 4: %s, of generation 0: %g\n",
                          RV_ToDouble(*enabled), generation_count(stats, 4) > 0 ? "some" : "none",
                          generation_count(stats, 0));
  const tsl::Value dropped = tsl::call("@@NewTSLObject@@", nullptr, nullptr);
  tsl::Value finaliser;
  KVCreateMethod(finaliser.get(), Disposed, nullptr);
  tsl::set(KV_AsInstance(dropped.object()), "dispose", *finaliser);
  tsl::call("game_end", self, other);
  return result;
}

KVScriptRow g_rows[] = {
    {"tsl_GlobalScript_boot", reinterpret_cast<KVCodeFunction>(Boot), nullptr},
    {"tsl_Script_leaf", reinterpret_cast<KVCodeFunction>(Leaf), nullptr},
    {"tsl_GlobalScript_handled_boot", reinterpret_cast<KVCodeFunction>(HandledBoot), nullptr},
    {"tsl_Script_handler", reinterpret_cast<KVCodeFunction>(Handler), nullptr},
    {"tsl_GlobalScript_collector_report", reinterpret_cast<KVCodeFunction>(CollectorReport), nullptr},
    {"tsl_Script_disposed", reinterpret_cast<KVCodeFunction>(Disposed), nullptr},
};

}  // namespace

int main(int argc, char** argv) {
  return RunWithScripts(argc, argv, g_rows, DisplayBackend{SdlWindowHost_Create, GlDevice_CreateThreaded});
}
