#include "support/draw_game.h"

#include <cstring>

#include "audio/audio.h"
#include "core/code.h"
#include "core/frame_state.h"
#include "data/game_data.h"
#include "datawin/format/page_image.h"
#include "datawin/writer/chunk_gen8.h"
#include "datawin/writer/chunk_sprites.h"
#include "datawin/writer/chunk_textures.h"
#include "graphics/surface.h"
#include "graphics/window.h"
#include "run/asset_readers.h"
#include "run/run_game.h"
#include "run/run_subjects.h"
#include "support/fixture.h"
#include "world/room.h"
#include "world/room_draw.h"
#include "world/step.h"

using namespace datawin;

namespace {

constexpr int kPage = 64;

void fill(std::vector<uint8_t>* pixels, int x0, int y0, int w, int h, uint32_t colour) {
  for (int y = y0; y < y0 + h; ++y) {
    for (int x = x0; x < x0 + w; ++x) std::memcpy(pixels->data() + (static_cast<size_t>(y) * kPage + x) * 4, &colour, 4);
  }
}

TpagEntry entry(uint16_t x, uint16_t y, uint16_t w, uint16_t h) { return TpagEntry{x, y, w, h, 0, 0, w, h, w, h, 0}; }

SpriteRecord sprite(const char* name, std::vector<Ref> frames, float speed, int32_t size = 16) {
  SpriteRecord s;
  s.name = name;
  s.width = s.height = size;
  s.bbox_right = s.bbox_bottom = size - 1;
  s.speed = speed;
  s.speed_type = 1;
  s.frames = std::move(frames);
  return s;
}

}  // namespace

std::vector<uint8_t> DrawGame_PagePixels() {
  std::vector<uint8_t> pixels(static_cast<size_t>(kPage) * kPage * 4, 0);
  fill(&pixels, 0, 0, 16, 16, kRed);
  fill(&pixels, 16, 0, 16, 16, kGreen);
  fill(&pixels, 32, 0, 16, 16, kBlue);
  fill(&pixels, 48, 0, 16, 16, kWhite);
  fill(&pixels, 16, 16, 16, 16, kYellow);
  fill(&pixels, 0, 32, 16, 16, kMagenta);
  fill(&pixels, 4, 52, 8, 8, kCyan);
  fill(&pixels, 32, 32, 32, 32, kGreen);
  fill(&pixels, 32, 16, 4, 4, kWhite);
  return pixels;
}

DrawGame::DrawGame() { rows_.reserve(64); }
DrawGame::~DrawGame() { Stop(); }

int32_t DrawGame::code(const char* name, DrawEventFn fn) {
  rows_.push_back(KVScriptRow{name, reinterpret_cast<KVCodeFunction>(fn), nullptr});
  return static_cast<int32_t>(rows_.size()) - 1;
}

bool DrawGame::Start() {
  Gen8Record header = MinimalHeader(17, 2, 60.0f);
  header.window_width = window_width;
  header.window_height = window_height;
  header.info_flags = info_flags;
  header.room_order.clear();
  for (size_t i = 0; i < rooms.size(); ++i) header.room_order.push_back(static_cast<uint32_t>(i));
  Writer writer;
  add_gen8(writer, header);
  const std::vector<Label> e = new_labels(writer, 9);
  add_sprt(writer, 2,
           {sprite("spr_frames", {e[0] + 0, e[1] + 0, e[2] + 0}, sprite_speed),
            sprite("spr_white", {e[3] + 0}, 1.0f), sprite("spr_back", {e[5] + 0}, 1.0f), [&] {
              SpriteRecord trimmed = sprite("spr_trimmed", {e[6] + 0}, 1.0f);
              trimmed.x_origin = trimmed.y_origin = 8;
              return trimmed;
            }(),
            sprite("spr_big", {e[7] + 0}, 1.0f, 32), sprite("spr_dot", {e[8] + 0}, 1.0f, 4)});
  BackgroundRecord tiles;
  tiles.name = "ts_tiles";
  tiles.page_entry = e[4] + 0;
  tiles.tile_width = tiles.tile_height = 16;
  tiles.columns = 2;
  tiles.frames_per_tile = 1;
  tiles.tile_count = 2;
  tiles.animation = {0, 1};
  add_bgnd(writer, 2, {tiles});
  add_objt(writer, objects, 17);
  add_room(writer, rooms);
  if (!constants.empty()) {
    OptnRecord options;
    options.constants = constants;
    add_optn(writer, options);
  }
  add_tpag(writer,
           {entry(0, 0, 16, 16), entry(16, 0, 16, 16), entry(32, 0, 16, 16), entry(48, 0, 16, 16),
            entry(0, 16, 32, 16), entry(0, 32, 16, 16), TpagEntry{4, 52, 8, 8, 4, 4, 8, 8, 16, 16, 0},
            entry(32, 32, 32, 32), entry(32, 16, 4, 4)},
           e);
  const std::vector<uint8_t> pixels = DrawGame_PagePixels();
  add_txtr(writer, {TxtrRecord{0, 1, kPage, kPage, 0, page::encode_qoi(pixels.data(), kPage, kPage)}});
  if (!embedded.empty()) {
    std::vector<EmbeddedImage> images;
    for (const auto& [name, entry_number] : embedded) images.push_back({name, e[static_cast<size_t>(entry_number)] + 0});
    add_embi(writer, images);
  }
  tables_ = KVCodeTables{};
  tables_.scriptCount = static_cast<int32_t>(rows_.size());
  tables_.scriptTable = rows_.data();
  return StartImage(BuildImage(writer), &tables_);
}

bool DrawGame::StartImage(std::vector<uint8_t> image, KVCodeTables* tables) {
  ResetLoaderState();
  if (!InitGame()) return false;
  g_CodeTables = tables;
  image_ = std::move(image);
  const auto size = static_cast<uint32_t>(image_.size());
  if (!HeaderScan(image_.data(), size)) return false;
  if (!Window_Create(window_width, window_height) || !Graphics_Init()) return false;
  if (audio.open != nullptr) Audio_Init(audio, false);
  Assets_InstallReaders();
  Code_InstallScriptLookup();
  if (!LoadGameData(image_.data(), size)) return false;
  // The runner's prepare steps, in its order.
  if (!Script_Prepare() || !TimeLine_Prepare() || !Object_Prepare() || !Room_Prepare() || !Sequence_Prepare()) {
    return false;
  }
  if (audio.open != nullptr && !AudioGroup_Prepare()) return false;
  if (!InitGraphics()) return false;
  // As the runner's game start: the world's state reset, the global scripts, the first room.
  Game_ResetForRestart();
  if (!Script_RunGlobalInit()) return false;
  started_ = Room_StartFirst();
  return started_;
}

void DrawGame::Frame() {
  Start_Frame();
  Run_Step();
  Instance_PurgeDestroyed();
  Room_Draw();
  Deferred_Process();
  ++DrawnSteps;
  Device_EndFrame(false);
  // A room request takes effect at the frame's end, as in the runner.
  if (New_Room >= 0) Room_Switch(New_Room);
}

uint32_t DrawGame::Pixel(int32_t x, int32_t y) {
  SpriteBitmap pixel;
  if (!Screen_Read_Rect(x, y, 1, 1, &pixel) || pixel.pixels.size() < 4) return 0;
  uint32_t value = 0;
  std::memcpy(&value, pixel.pixels.data(), 4);
  return value;
}

void DrawGame::Stop() {
  if (!started_ && image_.empty()) return;
  started_ = false;
  Run_End();
  ShutDownGame();
  g_CodeTables = nullptr;
  image_.clear();
}
