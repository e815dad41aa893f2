#pragma once
// CSprite: the sprite as drawing and scripts see it, one per sprite id. The data file's sprites
// are built from their SPRT records once every chunk is loaded (Sprite_BuildTable), with each
// frame's page entry read into floats so that a draw never parses the entry again. Sprites made
// while the game runs (sprite_add, sprite_duplicate, sprite_create_from_surface) own their frame
// textures and pixels; they live until sprite_delete or the end of the game.
//
// A sprite id is its index in the table: the file's sprites keep their numbers, a deleted sprite
// leaves its slot empty, and new sprites take the lowest slot freed by sprite_delete, else the
// next one. Frame indices follow Sprite_FrameIndex. Main thread only.
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "graphics/asset_sprites.h"

class GRTexture;
class KVObjectBase;

// One frame: where it lies on its texture and where it lands inside the sprite's box.
struct SpriteFrame {
  const uint8_t* entry = nullptr;  // the page entry in the data image; null for a run-time texture
  int32_t slot = -1;               // texture slot
  float sx = 0, sy = 0, sw = 0, sh = 0;  // source rectangle on the texture
  float tx = 0, ty = 0, tw = 0, th = 0;  // target offset and size inside the frame's box
  float bw = 0, bh = 0;                  // the frame's box (bounding size)
};

// The frame a page entry describes (the entry's rectangles; its texture slot).
SpriteFrame SpriteFrame_FromEntry(const uint8_t* entry);

// Pixels of a run-time frame: rows from the top, RGBA with red in the lowest byte.
struct SpriteBitmap {
  int32_t width = 0;
  int32_t height = 0;
  std::vector<uint8_t> pixels;
};

// Nine-slice settings of a sprite (the struct scripts reach as "NineSlice").
struct CNineSliceData {
  CNineSliceData() = default;
  CNineSliceData(const CNineSliceData&) = default;
  CNineSliceData& operator=(const CNineSliceData&) = default;
  ~CNineSliceData();  // a struct that scripts hold keeps a copy (nineslice.cpp)
  int32_t left = 0, top = 0, right = 0, bottom = 0;
  bool enabled = false;
  int32_t tilemode[5] = {};  // left, top, right, bottom, centre: 0 stretch, 1 repeat, 2 mirror, 3 blank, 4 hide
  KVObjectBase* scripted = nullptr;  // the struct scripts hold, made on first use
};

class CSprite {
 public:
  std::string name;
  int32_t index = -1;
  int32_t numFrames = 0;
  int32_t width = 0, height = 0;
  int32_t xOrigin = 0, yOrigin = 0;
  int32_t cullRadius = 0;
  int32_t kind = 0;  // 0 bitmap, 1 vector, 2 skeleton
  std::vector<SpriteFrame> frames;
  std::vector<SpriteBitmap> frameBitmaps;  // run-time frames only
  std::vector<int32_t> frameTextures;      // texture slots this sprite owns
  // Collision masks: one bit a pixel, rows padded to whole bytes; in the data image for the file's
  // sprites, in ownedMasks for run-time ones.
  const uint8_t* masks = nullptr;
  int32_t maskCount = 0;
  uint32_t maskRowBytes = 0;
  uint32_t maskBytes = 0;
  std::vector<uint8_t> ownedMasks;
  float bboxLeft = 0, bboxTop = 0, bboxRight = 0, bboxBottom = 0;
  int32_t bboxMode = 0;  // 0 automatic, 1 full image, 2 manual
  bool transparent = false, smooth = false, preload = false;
  bool useMask = false;
  bool rotatedMask = false;
  float speed = 1.0f;
  int32_t speedType = 1;  // 0 frames per second, 1 frames per game frame
  const uint8_t* sequence = nullptr;
  std::unique_ptr<CNineSliceData> nineSlice;
  const SpriteAsset* asset = nullptr;  // the record it was built from, if any
  bool duplicated = false;             // made by sprite_duplicate or at run time: frames may be added

  // The drawing entries (sprite_draw.cpp). Each returns false when a frame's texture can't be
  // had; the callers print their "Error attempting to draw sprite" line.
  bool Draw(float subimage, float x, float y, float xscale, float yscale, float angle, uint32_t colour,
            float alpha) const;
  bool DrawSimple(float subimage, float x, float y) const;
  // A run of frames with a frame count: the frame for a subimage, or null to draw nothing.
  const SpriteFrame* Frame(float subimage) const;

  // Recomputes cullRadius from the size and origin.
  void UpdateCullRadius();
  // The mask of a frame (wrapped like a frame index when every frame has one, else the first).
  const uint8_t* Mask(int32_t frame) const;
};

// i = floor(subimage) mod n, made positive; -1 for n <= 0.
int32_t Sprite_FrameIndex(float subimage, int32_t frames);

// ---- The table ---------------------------------------------------------------------------------------
// Builds every CSprite from the loaded SPRT table (replacing what was there).
void Sprite_BuildTable();
// Frees every sprite and the textures run-time sprites own.
void Sprite_FreeAll();
CSprite* Sprite_Data(int32_t id);
bool Sprite_Exists(int32_t id);
int32_t Sprite_TableCount();
const char* Sprite_Name(int32_t id);
// The first sprite with exactly this name, or -1.
int32_t Sprite_FindName(const char* name);
// Enters a new sprite at the lowest freed slot or at the end; returns its id.
int32_t Sprite_Add(std::unique_ptr<CSprite> sprite);
// Frees the sprite and its textures; false when the id held none.
bool Sprite_Delete(int32_t id);
// Replaces the sprite at id (sprite_assign, sprite_replace); false for an id outside the table.
bool Sprite_Replace(int32_t id, std::unique_ptr<CSprite> sprite);

// A copy of a sprite: frames that lie on pages stay shared, run-time frames get textures of their
// own; the copy is marked duplicated.
std::unique_ptr<CSprite> Sprite_Duplicate(const CSprite& source);
// A run-time sprite from frame bitmaps: one texture a frame, masks when useMask.
std::unique_ptr<CSprite> Sprite_FromBitmaps(std::vector<SpriteBitmap> frames, int32_t xorig, int32_t yorig,
                                            bool transparent, bool smooth);
// Appends run-time frames (sprite_add_from_surface, sprite_merge), resizing the sprite's box to the
// larger of the two.
void Sprite_AppendBitmap(CSprite* sprite, SpriteBitmap bitmap);
// Removes the background (the colour of the bottom-left pixel) of a bitmap, for removeback.
void SpriteBitmap_RemoveBack(SpriteBitmap* bitmap);
// The pixels of any frame (from a page through the texture's decoded source, or the run-time
// copy) in the frame's full box; false when they can't be had.
bool Sprite_FramePixels(const CSprite& sprite, int32_t frame, SpriteBitmap* out);
// Builds the masks of a run-time sprite (one bit a pixel, 1 for alpha above 0) and its automatic
// bounding box.
void Sprite_BuildMasks(CSprite* sprite);

// The console's hold on run-time changes of sprite speeds etc. are plain field writes; these are
// the lookups the step and the builtin variables use.
struct SpriteSpeed {
  bool isSequence = false;
  float speed = 1.0f;
  int32_t speedType = 1;
  int32_t frames = 0;
};
bool Sprite_GetSpeed(int32_t id, SpriteSpeed* out);

// Resolves the texture of a frame for drawing: its slot's object once the page is ready (loading
// it or lending a stand-in as the load manager does); null when nothing can be drawn.
struct FrameTexture {
  GRTexture* texture = nullptr;
  float texelWidth = 1.0f, texelHeight = 1.0f;
};
bool Sprite_FrameTexture(const SpriteFrame& frame, FrameTexture* out);

// The sprite family's builtins (sprite_* and tileset_get_*), and the draw_sprite* family, in
// their table order.
void Sprite_RegisterBuiltins();
void SpriteDraw_RegisterBuiltins();
