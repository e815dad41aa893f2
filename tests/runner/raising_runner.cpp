// The real runner with a small compiled script table linked in, for process tests of the error
// path. Row 0 is a global initialiser that fails two calls down; row 2 first installs row 3 as the
// exception_unhandled_handler (which ends the process with status 7) and then fails the same way.
// It opens the runner's own window and GL device where a display is named, so the error path can
// be seen ending a process that has a window.
#include "core/console.h"
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

KVScriptRow g_rows[] = {
    {"tsl_GlobalScript_boot", reinterpret_cast<KVCodeFunction>(Boot), nullptr},
    {"tsl_Script_leaf", reinterpret_cast<KVCodeFunction>(Leaf), nullptr},
    {"tsl_GlobalScript_handled_boot", reinterpret_cast<KVCodeFunction>(HandledBoot), nullptr},
    {"tsl_Script_handler", reinterpret_cast<KVCodeFunction>(Handler), nullptr},
};

}  // namespace

int main(int argc, char** argv) {
  return RunWithScripts(argc, argv, g_rows, DisplayBackend{SdlWindowHost_Create, GlDevice_Create});
}
