#pragma once
// Particles: small images with motion of their own that live outside the instance system. A type
// describes how particles look and move; a system owns live particles and emitters. Two tables of
// pointers, indexed by id, hold the systems and the types: a new id takes the first empty entry, a
// full table grows by one, and an id is valid while it lies in range and its entry is set.
//
// A system's particles are plain records in one array (grown by 100 at a time, compacted in order
// after each update), so an update or a draw walks memory once and spends trigonometry only on
// motion and turned quads. All random values come from the runtime's generator, so a fixed seed
// replays a run. Unknown ids are quiet everywhere: setters do nothing, queries give 0 or -1; the
// console lines of part_particles_create and part_emitter_stream are the only complaints, and a
// type that spawns its own kind each step is the one raised error.
//
// The layer side (elements, depths, rooms) belongs to the world (world/particles_layer.cpp), which
// reads and writes `elementId`, `depth` and the layer name kept for the next room.
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

constexpr int32_t kParticleShapeCount = 14;

struct ParticleType {
  int32_t sprite = -1;  // -1: the shape's image
  bool animate = true;
  bool stretch = false;
  bool randomFrame = false;
  int32_t shape = 0;
  float sizeMin = 1.0f, sizeMax = 1.0f, sizeIncr = 0.0f, sizeWiggle = 0.0f;
  float xscale = 1.0f, yscale = 1.0f;
  int32_t lifeMin = 100, lifeMax = 100;
  int32_t deathKind = 0, deathNumber = 0;
  int32_t stepKind = 0, stepNumber = 0;
  float speedMin = 0.0f, speedMax = 0.0f, speedIncr = 0.0f, speedWiggle = 0.0f;
  float dirMin = 0.0f, dirMax = 0.0f, dirIncr = 0.0f, dirWiggle = 0.0f;
  float gravityAmount = 0.0f, gravityDirection = 270.0f;
  float angMin = 0.0f, angMax = 0.0f, angIncr = 0.0f, angWiggle = 0.0f;
  bool angRelative = false;
  int32_t colourKind = 0;  // ParticleColourKind
  int32_t colours[6] = {0xFFFFFF, 0xFFFFFF, 0xFFFFFF, 0, 0, 0};
  float alpha1 = 1.0f, alpha2 = 1.0f, alpha3 = 1.0f;
  bool additive = false;
};

enum ParticleColourKind : int32_t {
  kParticleColourOne,
  kParticleColourTwo,
  kParticleColourThree,
  kParticleColourRgb,
  kParticleColourHsv,
  kParticleColourMix,
  kParticleColourKindCount,
};

struct Particle {
  bool alive = false;
  int32_t type = 0;
  int32_t age = 0;
  int32_t life = 0;
  float x = 0, y = 0, prevX = 0, prevY = 0;
  float speed = 0, direction = 0, angle = 0;
  int32_t colour = 0;
  float alpha = 1.0f, size = 1.0f;
  int32_t frame = 0;
  int32_t random = 0;
};

enum ParticleDistribution : int32_t { kDistributionLinear, kDistributionGaussian, kDistributionInverse };
enum ParticleRegion : int32_t { kRegionRectangle, kRegionEllipse, kRegionDiamond, kRegionLine };

struct ParticleEmitter {
  bool exists = false;
  int32_t number = 0;  // particles per step of a stream; 0 none
  float xMin = 0, xMax = 0, yMin = 0, yMax = 0;
  int32_t distribution = kDistributionLinear;
  int32_t regionShape = kRegionRectangle;
  int32_t type = 0;
};

struct ParticleSystem {
  std::vector<Particle> particles;  // capacity grows by 100; the live count is the size
  std::vector<ParticleEmitter> emitters;
  bool oldToNew = true;
  float depth = 0.0f;
  float xDraw = 0.0f, yDraw = 0.0f;
  bool automaticUpdate = true;
  bool automaticDraw = true;
  int32_t elementId = -1;  // its layer element; -1 none
  bool destroyAtRoomEnd = false;
  std::string layerName;  // the layer it left at a room's end, looked for in the next room
};

// ---- Tables --------------------------------------------------------------------------------------
int32_t ParticleType_Create();
void ParticleType_Destroy(int32_t id);
ParticleType* ParticleType_Get(int32_t id);  // null for an unknown id
int32_t ParticleType_TableSize();
// A system without a layer element; ParticleSystem_Delete frees its entry.
int32_t ParticleSystem_New();
ParticleSystem* ParticleSystem_Get(int32_t id);
int32_t ParticleSystem_TableSize();
void ParticleSystem_Delete(int32_t id);
// Frees particles and emitters and resets the settings part_system_clear resets.
void ParticleSystem_Reset(ParticleSystem* system);
// Game end: particles and emitters of every system, then the types, the systems and the images.
void Particles_FreeAll();
// A loaded game's tables take the place of both tables, empty entries keeping their ids; the
// images stay. The systems stand on no layer element.
void Particles_ReplaceTables(std::vector<std::optional<ParticleType>> types,
                             std::vector<std::optional<ParticleSystem>> systems);

// ---- Particles and emitters ----------------------------------------------------------------------
// min + a value of the distribution scaled to the range; min when max is not above min.
double Particle_Random(double min, double max, int32_t distribution);
// Appends one particle of the type at (x, y); false when the system or the type is unknown.
bool Particle_Create(ParticleSystem* system, float x, float y, int32_t type);
// part_particles_create(_colour): number below 1 makes nothing; unknown ids print their lines.
// A colour of -1 keeps each particle's own colour.
void Particles_Create(int32_t system, float x, float y, int32_t type, int32_t number, int64_t colour = -1);
int32_t ParticleEmitter_Create(int32_t system);  // -1 for an unknown system
ParticleEmitter* ParticleEmitter_Get(int32_t system, int32_t emitter);
void ParticleEmitter_Burst(int32_t system, int32_t emitter, int32_t type, int32_t number);
void ParticleEmitter_Stream(int32_t system, int32_t emitter, int32_t type, int32_t number);

// The wiggles' triangle wave: a value in 0 to 4 folded at 2 into -1 to 1.
inline float Particle_Fold(float w) { return (w > 2.0f ? 4.0f - w : w) - 1.0f; }
constexpr double kParticleDegreesToRadians = 3.1415927 / 180.0;

// ---- Update and drawing --------------------------------------------------------------------------
// Life (with spawns), motion, look, then the emitters' streams, each over the whole system.
void ParticleSystem_Update(int32_t id);
// Every system with automatic update, in id order (the frame step's last stage).
void ParticleSystem_UpdateAll();
// Draws the system's particles; without force only when automatic drawing is on.
void ParticleSystem_DrawSystem(int32_t id, bool force);
inline void ParticleSystem_Draw(int32_t id) { ParticleSystem_DrawSystem(id, false); }
// Rooms without layers merge systems with instances by depth.
float ParticleSystem_MaxDepth();            // -1e9 for none
float ParticleSystem_NextDepth(float below);  // the greatest depth below `below`, -1e9 for none
void ParticleSystem_DrawAtDepth(float depth);
constexpr float kParticleNoDepth = -1.0e9f;

// ---- Images (particles_images.h) ----------------------------------------------------------------
// The built-in shape images are made at start-up (ParticleImages_Load) and freed with the tables.
void ParticleImages_Load();
void ParticleImages_Free();

void Particles_RegisterBuiltins();
