// TextureLoadManager: texture and group requests, their state machines, Texture_Get and the
// group operations behind the texture builtins.
#include "graphics/texture_load.h"

#include <atomic>
#include <list>
#include <memory>
#include <mutex>
#include <thread>

#include "core/console.h"
#include "core/job_manager.h"
#include "graphics/asset_embedded.h"
#include "graphics/asset_sprites.h"
#include "datawin/format/texture_layout.h"
#include "graphics/asset_texture_pages.h"
#include "graphics/texture_groups.h"
#include "graphics/texture_table.h"
#include "platform/files.h"

using datawin::page::PageForm;

namespace {

enum RequestState : int32_t {
  kStart = 0,
  kRead = 1,
  kReading = 2,
  kDecode = 3,
  kDecoding = 4,
  kMakeFromFile = 5,
  kMakeFromPixels = 6,
  kBuild = 7,
  kDone = 8,
  kCancelled = 9,
  kRemove = 10,
  kBadSlot = 11,
  kReadFailed = 12,
  kDecodeFailed = 13,
  kBuildFailed = 14,
};

enum GroupState : int32_t {
  kGroupStart = 0,
  kGroupWaiting = 1,
  kGroupDone = 2,
  kGroupCancelled = 3,
  kGroupRemove = 4,
  kGroupInvalid = 5,
  kGroupFailed = 6,
};

enum Decoder : int32_t { kDecoderNone = -1, kDecoderPng = 1, kDecoderQoi = 2 };

struct TextureRequest {
  int32_t id = 0;
  int32_t slot = -1;
  bool fetch = false;
  bool async = false;
  std::string file_name;
  std::shared_ptr<std::vector<uint8_t>> data;  // the file image; shared with a decode job
  DecodedImage decoded;
  int32_t decoder = kDecoderNone;
  std::atomic<int32_t> state{kStart};
  std::atomic<bool> cancel{false};
};

struct GroupRequest {
  int32_t id = 0;
  int32_t group = -1;
  bool fetch = false;
  bool async = false;
  std::atomic<int32_t> state{kGroupStart};
  std::atomic<bool> cancel{false};
};

struct Manager {
  std::list<std::unique_ptr<TextureRequest>> requests;
  std::list<std::unique_ptr<GroupRequest>> group_requests;
  bool auto_load = true;
  bool debug = false;
  bool async_load = true;
  int32_t default_sprite = -1;
  int32_t next_id = 0;
  std::string save_area;
  std::string game_directory;
  std::recursive_mutex mutex;  // "TextureLoadMutex"; recursive so a job run at once may report back
};

Manager& manager() {
  static Manager m;
  return m;
}

int32_t new_id() {
  Manager& m = manager();
  const int32_t id = m.next_id;
  m.next_id = m.next_id == INT32_MAX ? 0 : m.next_id + 1;
  return id;
}

TextureRequest* find_request(int32_t id) {
  for (const auto& request : manager().requests) {
    if (request->id == id) return request.get();
  }
  return nullptr;
}

bool has_request(int32_t slot, bool fetch) {
  for (const auto& request : manager().requests) {
    if (request->slot == slot && request->state.load() != kRemove && (request->fetch || !fetch)) return true;
  }
  return false;
}

bool has_group_request(int32_t group, bool fetch) {
  for (const auto& request : manager().group_requests) {
    if (request->group == group && request->state.load() != kGroupRemove && (request->fetch || !fetch)) return true;
  }
  return false;
}

bool slot_has_own_object(const TextureSlot* slot) { return slot->texture != nullptr && slot->borrowed == 0; }

std::string page_file_name(const TextureSlot* slot) {
  const TextureGroup* group = TextureGroup_Get(slot->groupIndex);
  char name[1024];
  if (group == nullptr) {
    std::snprintf(name, sizeof name, "texture_%d.kvtex", slot->pageIndex);
  } else if (!group->directory.empty()) {
    std::snprintf(name, sizeof name, "%s/%s_%d%s", group->directory.c_str(), group->name.c_str(), slot->fileIndex,
                  group->extension.c_str());
  } else {
    std::snprintf(name, sizeof name, "%s_%d%s", group->name.c_str(), slot->fileIndex, group->extension.c_str());
  }
  return name;
}

int64_t id_of(void* word) { return static_cast<int64_t>(reinterpret_cast<intptr_t>(word)); }

// Job: reads the request's file beside the game and reports back by id.
void read_job(void* word, void*) {
  const int64_t id = id_of(word);
  Manager& m = manager();
  std::string path;
  {
    std::lock_guard lock(m.mutex);
    const TextureRequest* request = find_request(static_cast<int32_t>(id));
    if (request == nullptr) return;
    path = m.game_directory + request->file_name;
  }
  auto data = std::make_shared<std::vector<uint8_t>>();
  const bool ok = Platform_ReadWholeFile(path, data.get()) && !data->empty();
  std::lock_guard lock(m.mutex);
  TextureRequest* request = find_request(static_cast<int32_t>(id));
  if (request == nullptr) return;
  if (!ok) {
    request->state.exchange(kReadFailed);
    return;
  }
  request->data = std::move(data);
  request->state.exchange(request->fetch ? kDecode : kMakeFromFile);
}

// Job: decodes the request's file image and reports back by id.
void decode_job(void* word, void*) {
  const int64_t id = id_of(word);
  Manager& m = manager();
  std::shared_ptr<std::vector<uint8_t>> data;
  {
    std::lock_guard lock(m.mutex);
    const TextureRequest* request = find_request(static_cast<int32_t>(id));
    if (request == nullptr) return;
    data = request->data;
  }
  DecodedImage decoded;
  const bool ok = data != nullptr && Texture_DecodePage(data->data(), static_cast<uint32_t>(data->size()), &decoded);
  std::lock_guard lock(m.mutex);
  TextureRequest* request = find_request(static_cast<int32_t>(id));
  if (request == nullptr) return;
  if (request->cancel.load()) {
    request->data.reset();
    request->state.exchange(kCancelled);
    return;
  }
  if (!ok) {
    request->state.exchange(kDecodeFailed);
    return;
  }
  request->decoded = std::move(decoded);
  request->state.exchange(kMakeFromPixels);
}

void read_file_now(TextureRequest& request, const std::string& path) {
  auto data = std::make_shared<std::vector<uint8_t>>();
  if (Platform_ReadWholeFile(path, data.get()) && !data->empty()) request.data = std::move(data);
}

void step_read(TextureRequest& request, TextureSlot* slot) {
  Manager& m = manager();
  if (request.cancel.load()) {
    request.state.exchange(kCancelled);
    return;
  }
  if (slot_has_own_object(slot)) {
    request.state.exchange(request.fetch ? kBuild : kDone);
    return;
  }
  request.file_name = page_file_name(slot);
  const std::string saved = m.save_area + request.file_name;
  if (!m.save_area.empty() && Platform_FileReadable(saved)) {
    read_file_now(request, saved);
  } else if (request.async) {
    request.state.exchange(kReading);
    if (TextureLoad_RunJob(read_job, request.id)) return;
    read_file_now(request, m.game_directory + request.file_name);
  } else {
    read_file_now(request, m.game_directory + request.file_name);
  }
  if (request.data == nullptr) {
    slot->loadFailed = -1;
    request.state.exchange(kReadFailed);
    return;
  }
  request.state.exchange(request.fetch && request.async ? kDecode : kMakeFromFile);
}

void step_decode(TextureRequest& request, const TextureSlot* slot) {
  if (request.cancel.load()) {
    request.data.reset();
    request.state.exchange(kCancelled);
    return;
  }
  if (slot_has_own_object(slot)) {
    request.data.reset();
    request.state.exchange(request.fetch ? kBuild : kDone);
    return;
  }
  if (request.data == nullptr) {
    request.state.exchange(kReadFailed);
    return;
  }
  const PageForm form = datawin::page::page_form(request.data->data(), static_cast<uint32_t>(request.data->size()));
  const bool worker = form == datawin::page::kFormPng || form == datawin::page::kFormQoi || form == datawin::page::kFormBz2Qoi;
  if (!worker) {
    request.state.exchange(kMakeFromFile);
    return;
  }
  request.decoder = form == datawin::page::kFormPng ? kDecoderPng : kDecoderQoi;
  request.state.exchange(kDecoding);
  if (!TextureLoad_RunJob(decode_job, request.id)) request.state.exchange(kMakeFromFile);
}

void step_make(TextureRequest& request, TextureSlot* slot, bool from_pixels) {
  if (request.data == nullptr) {
    request.state.exchange(kReadFailed);
    return;
  }
  const auto size = static_cast<uint32_t>(request.data->size());
  Texture* texture = Texture_MakePageObject(request.slot, std::move(*request.data));
  request.data.reset();
  if (texture == nullptr) {
    request.state.exchange(kDecodeFailed);
    return;
  }
  if (!from_pixels) {
    g_DebugConsole->Output("Loaded texture - %s - %d(%08x)\n", request.file_name.c_str(), static_cast<int>(size), size);
    request.state.exchange(request.fetch ? kBuild : kDone);
    return;
  }
  const bool built = Texture_BuildDevice(texture, &request.decoded);
  request.decoded = DecodedImage{};
  slot->borrowed = 0;
  request.state.exchange(built ? kDone : kBuildFailed);
}

// Advances a texture request by one state.
void step(TextureRequest& request) {
  TextureSlot* slot = Texture_Slot(request.slot);
  const int32_t state = request.state.load();
  if (state != kRemove && state != kBadSlot && (slot == nullptr || slot->inUse == 0)) {
    request.state.exchange(kBadSlot);
    return;
  }
  switch (state) {
    case kStart:
      request.state.exchange(kRead);
      return;
    case kRead:
      step_read(request, slot);
      return;
    case kDecode:
      step_decode(request, slot);
      return;
    case kMakeFromFile:
      step_make(request, slot, false);
      return;
    case kMakeFromPixels:
      step_make(request, slot, true);
      return;
    case kBuild:
      if (request.cancel.load()) {
        request.state.exchange(kCancelled);
        return;
      }
      request.state.exchange(Texture_BuildDevice(slot->texture) ? kDone : kBuildFailed);
      return;
    case kDone:
    case kCancelled:
      if (state == kDone) slot->loadFailed = 0;
      TextureGroup_UpdateStatus(slot->groupIndex);
      request.state.exchange(kRemove);
      return;
    case kBadSlot:
    case kReadFailed:
    case kDecodeFailed:
    case kBuildFailed:
      if (slot != nullptr && state != kBadSlot) slot->loadFailed = -1;
      if (slot != nullptr) TextureGroup_UpdateStatus(slot->groupIndex);
      request.state.exchange(kRemove);
      return;
    default:
      return;  // waiting for a job, or to be removed
  }
}

TextureRequest* add_request(int32_t slot, bool fetch, bool async) {
  std::lock_guard lock(manager().mutex);
  auto request = std::make_unique<TextureRequest>();
  request->id = new_id();
  request->slot = slot;
  request->fetch = fetch;
  request->async = async;
  TextureRequest* raw = request.get();
  manager().requests.push_back(std::move(request));
  return raw;
}

// Runs a new request: at once to its end when synchronous, else its first steps.
void run(TextureRequest* request) {
  Manager& m = manager();
  if (request->async) {
    std::lock_guard lock(m.mutex);
    step(*request);
    return;
  }
  for (;;) {
    {
      std::lock_guard lock(m.mutex);
      const int32_t state = request->state.load();
      if (state == kRemove) return;
      if (state != kReading && state != kDecoding) {
        step(*request);
        continue;
      }
    }
    std::this_thread::yield();
  }
}

void step(GroupRequest& request) {
  TextureGroup* group = TextureGroup_Get(request.group);
  switch (request.state.load()) {
    case kGroupStart:
      if (group == nullptr) {
        request.state.exchange(kGroupInvalid);
        return;
      }
      for (int32_t slot : group->textures) run(add_request(slot, request.fetch, request.async));
      TextureGroup_UpdateStatus(request.group);
      request.state.exchange(kGroupWaiting);
      return;
    case kGroupWaiting:
      if (request.cancel.load()) {
        request.state.exchange(kGroupCancelled);
      } else if (group == nullptr || group->failed != 0) {
        request.state.exchange(kGroupFailed);
      } else if (group->loaded != 0 && (group->fetched != 0 || !request.fetch)) {
        request.state.exchange(kGroupDone);
      }
      return;
    case kGroupDone:
    case kGroupCancelled:
    case kGroupInvalid:
    case kGroupFailed:
      request.state.exchange(kGroupRemove);
      return;
    default:
      return;
  }
}

void remove_finished() {
  Manager& m = manager();
  m.requests.remove_if([](const auto& request) { return request->state.load() == kRemove; });
  m.group_requests.remove_if([](const auto& request) { return request->state.load() == kGroupRemove; });
}

int32_t slot_of_entry(const uint8_t* entry) {
  return entry != nullptr ? PageEntry_Read(entry).texture : -1;
}

bool build_failed(const Texture* texture) { return (texture->flags & kTextureBuildFailed) != 0; }

// The ready page that stands in for page `index`: the first frame of the default sprite, else the
// embedded "fallbacktexture"; null when neither can be had. A stand-in never asks for a stand-in of
// its own, so two pages that fail can't send the search round in circles.
TextureSlot* stand_in_for(int32_t index) {
  static bool searching = false;
  if (searching) return nullptr;
  searching = true;
  const SpriteAsset* sprite = Sprite_Get(manager().default_sprite);
  const int32_t candidates[] = {sprite != nullptr && !sprite->frames.empty() ? slot_of_entry(sprite->frames[0]) : -1,
                                slot_of_entry(EmbeddedImage_Fallback())};
  TextureSlot* found = nullptr;
  for (const int32_t candidate : candidates) {
    if (candidate < 0 || candidate == index) continue;
    TextureSlot* ready = Texture_Get(candidate, true, true, false, false);
    if (ready != nullptr && ready == Texture_Slot(candidate) && slot_has_own_object(ready)) {
      found = ready;
      break;
    }
  }
  searching = false;
  return found;
}

}  // namespace

TextureSlot* Texture_Get(int32_t index, bool want_fetch, bool force, bool synchronous, bool via_group) {
  Manager& m = manager();
  TextureSlot* slot = Texture_Slot(index);
  if (slot == nullptr || slot->inUse == 0) return nullptr;
  // A page that failed to load is not tried again by drawing; an explicit request (force) retries.
  const bool may_load = force || ((slot->internal != 0 || m.auto_load) && slot->loadFailed == 0);
  if (may_load) {
    const TextureGroup* group = TextureGroup_Get(slot->groupIndex);
    const bool async = m.async_load && !synchronous;
    if (via_group && group != nullptr && group->loadType == datawin::tgin::kLoadDynamic && group->loaded == 0) {
      if (!has_group_request(slot->groupIndex, want_fetch)) TextureLoad_RequestGroup(slot->groupIndex, want_fetch, synchronous);
    } else if (!slot_has_own_object(slot) && !has_request(index, want_fetch)) {
      run(add_request(index, want_fetch, async));
    }
  }
  if (slot_has_own_object(slot)) {
    // A page in memory is built at the first use that wants it, so a page that can't be built is
    // known before anything is drawn with it; from then on its stand-in is drawn instead.
    if (want_fetch) slot->texture->DeviceTexture();
    if (build_failed(slot->texture)) return stand_in_for(index);
  } else if (slot->texture == nullptr) {
    TextureSlot* stand_in = stand_in_for(index);
    if (stand_in == nullptr) return nullptr;
    slot->texture = stand_in->texture;
    slot->borrowed = 1;
  }
  return slot->texture != nullptr ? slot : nullptr;
}

bool TextureLoad_AutoLoad() { return manager().auto_load; }

void TextureLoad_SetMode(bool explicit_mode, bool debug, int32_t default_sprite) {
  manager().auto_load = !explicit_mode;
  manager().debug = debug;
  manager().default_sprite = default_sprite;
}

int32_t TextureLoad_DefaultSprite() { return manager().default_sprite; }
bool TextureLoad_Debug() { return manager().debug; }
void TextureLoad_SetAsync(bool async) { manager().async_load = async; }

void TextureLoad_SetRoots(const std::string& save_area, const std::string& game_directory) {
  manager().save_area = save_area;
  manager().game_directory = game_directory;
}
const std::string& TextureLoad_SaveArea() { return manager().save_area; }
const std::string& TextureLoad_GameDirectory() { return manager().game_directory; }

bool TextureLoad_RequestSlot(int32_t index, bool fetch, bool synchronous) {
  TextureSlot* slot = Texture_Slot(index);
  if (slot == nullptr || slot->inUse == 0) return false;
  if (slot_has_own_object(slot) && (!fetch || (slot->texture->flags & kTextureDeviceBuilt) != 0)) return true;
  if (!has_request(index, fetch)) run(add_request(index, fetch, manager().async_load && !synchronous));
  return true;
}

bool TextureLoad_RequestGroup(int32_t group, bool fetch, bool synchronous) {
  Manager& m = manager();
  if (TextureGroup_Get(group) == nullptr) return false;
  auto request = std::make_unique<GroupRequest>();
  request->id = new_id();
  request->group = group;
  request->fetch = fetch;
  request->async = m.async_load && !synchronous;
  GroupRequest* raw = request.get();
  std::lock_guard lock(m.mutex);
  m.group_requests.push_back(std::move(request));
  step(*raw);
  // A synchronous load has finished its pages in the first step; one more step reads the group's
  // status, and a group still short of pages is left to the tick.
  if (!raw->async) {
    step(*raw);
    if (raw->state.load() != kGroupWaiting) step(*raw);
  }
  return true;
}

void TextureLoad_FlushSlot(int32_t index) {
  Manager& m = manager();
  std::lock_guard lock(m.mutex);
  for (const auto& request : m.requests) {
    if (request->slot == index) request->cancel.exchange(true);
  }
  TextureSlot* slot = Texture_Slot(index);
  if (slot != nullptr && slot_has_own_object(slot)) Texture_Free_Device(slot->texture);
}

void TextureLoad_FlushGroup(int32_t group_index) {
  const TextureGroup* group = TextureGroup_Get(group_index);
  if (group == nullptr) return;
  for (const auto& request : manager().group_requests) {
    if (request->group == group_index) request->cancel.exchange(true);
  }
  for (int32_t slot : group->textures) TextureLoad_FlushSlot(slot);
}

bool TextureLoad_UnloadGroup(int32_t group_index) {
  TextureGroup* group = TextureGroup_Get(group_index);
  if (group == nullptr) {
    g_ReleaseConsole->Output("TextureLoadManager::UnloadGroup(): Texture group with index %d not found\n", group_index);
    return false;
  }
  if (group->loadType == datawin::tgin::kLoadWithDataFile) {
    g_ReleaseConsole->Output("TextureLoadManager::UnloadGroup(): Texture group %s is in WAD and can't be unloaded\n",
                             group->name.c_str());
    return false;
  }
  TextureLoad_FlushGroup(group_index);
  for (int32_t index : group->textures) {
    TextureSlot* slot = Texture_Slot(index);
    if (slot == nullptr) continue;
    if (slot_has_own_object(slot)) Texture_Free(slot->texture);
    slot->texture = nullptr;
    slot->borrowed = 0;
  }
  TextureGroup_UpdateStatus(group_index);
  return true;
}

int32_t TextureLoad_GroupStatus(int32_t group_index) {
  const TextureGroup* group = TextureGroup_Get(group_index);
  if (group == nullptr) return -1;
  if (group->fetched != 0 && group->loaded != 0) return 3;
  if (has_group_request(group_index, false)) return group->loaded != 0 ? 2 : 1;
  return group->loaded != 0 ? 2 : 0;
}

void TextureLoad_Tick() {
  Manager& m = manager();
  std::lock_guard lock(m.mutex);
  for (const auto& request : m.requests) step(*request);
  for (const auto& request : m.group_requests) step(*request);
  remove_finished();
}

int32_t TextureLoad_PendingRequests() {
  return static_cast<int32_t>(manager().requests.size() + manager().group_requests.size());
}

void TextureLoad_Reset() {
  Manager& m = manager();
  std::lock_guard lock(m.mutex);
  m.requests.clear();
  m.group_requests.clear();
  m.auto_load = true;
  m.debug = false;
  m.async_load = true;
  m.default_sprite = -1;
}

bool TextureLoad_RunJob(JobFunction fn, int64_t id) {
  void* word = reinterpret_cast<void*>(static_cast<intptr_t>(id));
  if (JobManager_Running()) return JobManager_Submit(fn, word, nullptr) >= 0;
  fn(word, nullptr);  // no workers (tests, before start-up): the job runs at once
  return true;
}
