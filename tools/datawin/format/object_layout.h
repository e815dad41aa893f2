#pragma once
// Layout of OBJT (object types): a pointer list of object records. A record is nine words, then from
// DataVersion 6 the physics block (11 words; from DataVersion 9 three more), the shape points, and
// the event table: i32 T, then T offsets, slot k the list of event type k. Each list is an i32
// count and offsets to event entries {i32 subtype, i32 action count, offset of the first action};
// of the first action only the code index word at byte 32 is read.
#include <cstdint>

namespace datawin::objt {

constexpr uint32_t kName = 0;
constexpr uint32_t kSprite = 4;
constexpr uint32_t kVisible = 8;
constexpr uint32_t kManaged = 12;
constexpr uint32_t kSolid = 16;
constexpr uint32_t kDepth = 20;
constexpr uint32_t kPersistent = 24;
constexpr uint32_t kParent = 28;
constexpr uint32_t kMask = 32;
constexpr uint32_t kBaseBytes = 36;

// The physics block, from DataVersion kPhysicsVersion on.
constexpr int32_t kPhysicsVersion = 6;
constexpr uint32_t kUsesPhysics = 36;
constexpr uint32_t kSensor = 40;
constexpr uint32_t kShape = 44;
constexpr uint32_t kDensity = 48;
constexpr uint32_t kRestitution = 52;
constexpr uint32_t kGroup = 56;
constexpr uint32_t kLinearDamping = 60;
constexpr uint32_t kAngularDamping = 64;
constexpr uint32_t kPointCount = 68;
constexpr uint32_t kPhysicsBytes = 72;  // end of the block below kPhysicsExtraVersion
// Friction, awake and kinematic, from DataVersion kPhysicsExtraVersion on.
constexpr int32_t kPhysicsExtraVersion = 9;
constexpr uint32_t kFriction = 72;
constexpr uint32_t kAwake = 76;
constexpr uint32_t kKinematic = 80;
constexpr uint32_t kPhysicsExtraBytes = 84;
constexpr uint32_t kPointBytes = 8;  // f32 x, y

constexpr float kDefaultFriction = 0.2f;

// Sprite word: unless one of bits 28..30 is set, bit 31 is a flag of the file, not of the index.
constexpr uint32_t kSpriteHighBits = 0x70000000u;
constexpr uint32_t kSpriteFlagBit = 0x80000000u;

// Event entry.
constexpr uint32_t kEventSubtype = 0;
constexpr uint32_t kEventActionCount = 4;
constexpr uint32_t kEventFirstAction = 8;
constexpr uint32_t kEventEntryBytes = 12;
constexpr uint32_t kActionCodeIndex = 32;
constexpr uint32_t kActionBytes = 36;

}  // namespace datawin::objt
