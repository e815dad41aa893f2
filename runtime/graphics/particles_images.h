#pragma once
// The images particles of a shape draw with. A data file may carry the shape sprites among its
// embedded images ("pt_shape_pixel" ... "pt_shape_snow"); they are looked up once EMBI is read and
// forgotten with the data file. Otherwise the runtime's own 64 x 64 images are used: white shapes
// whose alpha carries the form, tinted by the particle's colour, made in code once at start-up
// (also on first use when start-up didn't run) and kept until the game ends. Beside them stands a
// plain white 64 x 64 texture, made from the raw image form the texture loader reads.
#include <cstdint>
#include <vector>

#include "graphics/particles.h"

class GRTexture;
struct SpriteFrame;

constexpr int32_t kParticleImageSide = 64;

const char* ParticleImages_Name(int32_t shape);  // null outside 0 to 13
// RGBA pixels (red lowest, rows from the top) of a built-in image; empty outside 0 to 13.
std::vector<uint8_t> ParticleImages_Pixels(int32_t shape);
// The embedded image of a shape, null when the data file has none.
const SpriteFrame* ParticleImages_Embedded(int32_t shape);
// The built-in image of a shape (made if needed), null outside 0 to 13.
GRTexture* ParticleImages_Builtin(int32_t shape);
GRTexture* ParticleImages_White();
// Installed as a hook of the EMBI reader and of the data file's clearing.
void ParticleImages_FindEmbedded();
void ParticleImages_ForgetEmbedded();
