#pragma once
// The builtin families register in one fixed order while the header is read; the order gives
// every builtin its index. Each subsystem installs the registrar of its family before the load.
enum BuiltinFamily {
  kFamilyHighScore,
  kFamilyGame,
  kFamilyMath,
  kFamilyGraphic,
  kFamilyAction,
  kFamilyFile,
  kFamilyResource,
  kFamilyInteraction,
  kFamily3D,
  kFamilyParticle,
  kFamilyMisc,
  kFamilyTime,
  kFamilyDS,
  kFamilySound,
  kFamilyPhysics,
  kFamilyGamepad,
  kFamilyBuffers,
  kFamilyNetworking,
  kFamilyShaders,
  kFamilyKova,
  kFamilyMultiplayer,
  kFamilyCount,
};

using BuiltinRegistrar = void (*)();

// Adds a registrar to a family; registrars of one family run in the order they were added.
void Builtins_AddRegistrar(BuiltinFamily family, BuiltinRegistrar registrar);
void Builtins_ClearRegistrars();
// Prints "InitTSLFunctions" and each family's console line, running its registrars.
void InitTSLFunctions();
