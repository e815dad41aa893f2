#pragma once
// The texture table: every image the GPU samples. A slot (TextureSlot, one per index, allocated
// separately; the table grows by exactly one at a time) holds the page's size and load state and
// points at its Texture object, which holds the format, the page's file image (compressed, usually
// inside the data image) and, for images the program makes, a CPU copy of the pixels. Pixels of
// file pages are decoded only when the device object is built, and not kept.
//
// A Texture is the batcher's GRTexture: its device texture (device_) is made from the decoded
// pixels at the first DeviceTexture() call and can be dropped and remade at any time. The device is
// Graphics_Device() unless Texture_SetDevice names another; with no device at all (headless runs)
// building decodes nothing and only marks the texture as built.
//
// Handles passed through scripts are either a slot index or the address of a texture page entry
// inside the data image; Texture_SlotOfHandle tells them apart. All of this runs on the main
// thread; the load manager's workers never touch slots or objects.
#include <cstdint>
#include <vector>

#include "graphics/gr_texture.h"
#include "graphics/texture_decode.h"

class IDevice;

// Texture::flags.
enum TextureFlag : uint32_t {
  kTextureNoScale = 0x2,         // the global texture scale doesn't apply
  kTextureMips = 0x10,           // marked for mips
  kTextureDeviceBuilt = 0x80,    // a device object exists and is counted
  kTextureKeepOnFlush = 0x100,   // the device object survives draw_texture_flush
  kTextureDepth = 0x200,         // a render target with a depth buffer
  kTextureBuildFailed = 0x400,   // its pixels can't be had or don't fit the device: never built again,
                                 // and Texture_Get gives the page's stand-in in its place
};

// Texture_Create's flags argument.
enum TextureCreateFlag : uint32_t {
  kCreateRenderTarget = 2,
  kCreateDepth = 4,
  kCreateMips = 32,
  kCreateKeepOnFlush = 64,
};

struct Texture final : public GRTexture {
  // The device texture, built on first use; bound at a stage, rebuilt when the stage's mip enable
  // wants mips and the device texture has none or the other way round (only textures that can
  // hold mips: RGBA or 32-bit float, not render targets).
  DeviceTextureId DeviceTexture() override;
  DeviceTextureId DeviceTextureAt(int32_t stage) override;

  uint32_t format = kTextureFormatRGBA;
  uint32_t width = 0;
  uint32_t height = 0;
  int32_t mipLevels = 0;  // 0: no limit
  int32_t slot = -1;      // -1 for internal targets
  uint32_t flags = 0;
  bool render_target = false;
  bool device_mips = false;  // the device texture holds a generated mip chain
  std::vector<uint8_t> pixels;  // CPU copy, only for textures the program makes
  const uint8_t* sourceData = nullptr;  // the page's file image: in the data image or in storage
  uint32_t sourceSize = 0;
  std::vector<uint8_t> source_storage;  // a file image read from disk, owned here
  Texture* next = nullptr;  // every object, for device loss
};

struct TextureSlot {
  Texture* texture = nullptr;  // may be borrowed from another page
  uint16_t width = 1;
  uint16_t height = 1;
  float texelWidth = 1.0f;
  float texelHeight = 1.0f;
  uint16_t origWidth = 1;
  uint16_t origHeight = 1;
  int32_t mipLevels = 0;
  int32_t pageIndex = -1;  // -1 for a run-time texture
  int32_t fileIndex = 0;
  int32_t groupIndex = -1;
  int32_t loadFailed = 0;  // -1 once loading failed
  uint8_t inUse = 0;
  uint8_t borrowed = 0;
  uint8_t internal = 0;  // belongs to a "__KV__" group: loads on demand whatever the mode
};

// The device textures are made on: null returns to Graphics_Device().
void Texture_SetDevice(IDevice* device);

// ---- The table ------------------------------------------------------------------------------------
int32_t Texture_Count();
TextureSlot* Texture_Slot(int32_t index);  // null outside the table
// Takes the first free slot (scanning from 0) or appends one; the slot is zeroed and in use.
int32_t Texture_AllocSlot();
// Frees the slot's own object and marks it free.
void Texture_FreeSlot(int32_t index);
// Sets the slot's sizes and texel sizes; 0 reads as 1.
void Texture_SetSlotSize(TextureSlot* slot, uint32_t width, uint32_t height);
// Frees every slot and its object (the white texture and unslotted objects stay).
void Texture_ClearTable();

// ---- Objects ------------------------------------------------------------------------------------
// A new object. Flag kCreateRenderTarget: no CPU pixels; otherwise sizes are capped at the maximum
// side and a CPU buffer of w x h x 4 + 16 bytes is zeroed.
Texture* Texture_Create(uint32_t width, uint32_t height, uint32_t format, uint32_t flags);
// Registers a page: takes a slot, reads the image header and makes the object with its source
// (no pixels). An unknown form leaves the slot without an object. Returns the slot index.
int32_t Texture_Load_Page(const uint8_t* data, uint32_t size, uint32_t flags, bool scalable);
// Makes the slot's own object from a file image read from disk, which the object keeps (the load
// manager's path); replaces a borrowed object. Null for an image of unknown form.
Texture* Texture_MakePageObject(int32_t slot_index, std::vector<uint8_t> file);
void Texture_Free(Texture* texture);
// Frees the device object only.
void Texture_Free_Device(Texture* texture);
// Frees the device objects of every object (all) or of those without kTextureKeepOnFlush.
void Texture_FreeAllDevice(bool all);

// Builds the device object from `pixels` (decoded on a worker), the CPU copy or the decoded
// source, in that order of preference, and marks the object built. Mip levels are generated and
// uploaded when Texture_WantsMips says so for the stage. When the pixels can't be had or the device
// refuses, the object is marked kTextureBuildFailed (and its slot's loadFailed set) once, so it is
// never decoded again; a side above the largest the device takes (Texture_MaxSize) is also the
// fatal error "Attempting to create a texture of size ...", which stops the game with status 1.
bool Texture_BuildDevice(Texture* texture, const DecodedImage* pixels = nullptr, int32_t stage = 0);
// Whether a texture bound at this stage gets mips: it can hold them (RGBA or 32-bit float, not a
// render target) and the mip enable the stage has applied is 1, or 2 with the texture marked.
bool Texture_WantsMips(const Texture* texture, int32_t stage);
// Decodes the object's source into pixels, applying the global scale unless kTextureNoScale.
bool Texture_DecodeSource(const Texture* texture, DecodedImage* out);

// Copies rows into the CPU buffer (repeating the last column and row into the padding when the
// source is smaller) and uploads the whole image.
void Texture_Update(Texture* texture, const uint8_t* pixels, uint32_t width, uint32_t height);
// Uploads a rectangle of the CPU buffer, clamped to the texture; nothing for one outside it.
void Texture_Update_Rect(Texture* texture, int32_t x, int32_t y, int32_t w, int32_t h);

// The page table of the data file: page number -> slot, -1 for a page without one.
void Texture_SetPageTable(std::vector<int32_t> slots);
int32_t Texture_PageToSlot(int32_t page);
int32_t Texture_PageCount();

// ---- Handles, page entries, settings ----------------------------------------------------------
// The slot a handle names: an index inside the table, or the slot stored in a page entry lying in
// the data image; -1 for anything else.
int32_t Texture_SlotOfHandle(int64_t handle);
// Whether a handle is the address of a page entry in the data image.
bool Texture_IsPageEntryHandle(int64_t handle);
// The eight numbers of texture_get_uvs; 0, 0, 1, 1, 0, 0, 1, 1 for an unusable texture.
void Texture_GetUVs(int64_t handle, double out[8]);

int32_t Texture_GlobalScale();
void Texture_SetGlobalScale(int32_t scale);  // caller checks for a positive power of two
// The largest side of a texture: 16384, or less where the device takes less.
uint32_t Texture_MaxSize();
// 0 none, 1 pages of groups, 2 and above all pages: the "unpacked" and "flushed" lines.
void Texture_SetDebugVerbosity(int32_t level);

// Whether the slot has its own object with a device object.
bool Texture_SlotReady(const TextureSlot* slot);

// Installs the batcher's resolver of script handles: the slot's texture through Texture_Get (which
// may start a load or lend a stand-in), and the rectangle of a page entry; and draw_texture_flush's
// hook, which frees the device objects of every texture without kTextureKeepOnFlush.
void Texture_InstallResolver();

// texture_set_stage: flushes the batch and binds the texture a handle names at the stage; -1 (or a
// handle nothing resolves) binds the white texture. Stages outside 0..7 and a missing device do
// nothing.
void Texture_SetStage(int32_t stage, int64_t handle);
