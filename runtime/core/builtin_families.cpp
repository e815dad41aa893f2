#include "core/builtin_families.h"

#include <vector>

#include "core/console.h"

namespace {

constexpr const char* kFamilyLines[] = {
    "HighScore..", "Game..",     "Math..",   "Graphic..", "Action..",  "File..",        "Resource..",
    "Interaction..", "3D..",     "Particle..", "Misc..",  "Time..",    "DS..",          "Sound..",
    "Physics..",   "Gamepad..", "Buffers..", "Networking..", "Shaders..", "Kova..",     "Multiplayer..",
};
static_assert(sizeof(kFamilyLines) / sizeof(kFamilyLines[0]) == kFamilyCount);

std::vector<BuiltinRegistrar> g_registrars[kFamilyCount];

}  // namespace

void Builtins_AddRegistrar(BuiltinFamily family, BuiltinRegistrar registrar) {
  g_registrars[family].push_back(registrar);
}

void Builtins_ClearRegistrars() {
  for (auto& list : g_registrars) list.clear();
}

void InitTSLFunctions() {
  g_DebugConsole->Output("InitTSLFunctions\n");
  for (int family = 0; family < kFamilyCount; ++family) {
    g_DebugConsole->Output("%s", kFamilyLines[family]);
    for (BuiltinRegistrar registrar : g_registrars[family]) registrar();
  }
  g_DebugConsole->Output("Fini\n");
}
