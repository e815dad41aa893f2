// Audio chunks through the chunk load: SOND records and their kind flags, AGRP only with the audio
// option, AUDO blobs handed to the sounds of group 0, and damaged blob lists.
#include <string>
#include <vector>

#include "audio/asset_sounds.h"
#include "data/game_data.h"
#include "datawin/format/options_layout.h"
#include "datawin/writer/chunk_audio.h"
#include "datawin/writer/chunk_options.h"
#include "loader_test_util.h"
#include "run/asset_readers.h"

using namespace datawin;

namespace {

class AssetSounds : public AssetLoaderTest {};

std::vector<uint8_t> bytes(const std::string& text) { return std::vector<uint8_t>(text.begin(), text.end()); }

}  // namespace

TEST_F(AssetSounds, KindSetsStreamedCompressedAndDecompressOnLoad) {
  struct Case {
    int32_t kind;
    bool streamed, compressed, decompress;
  };
  const Case cases[] = {{0, false, false, false}, {1, true, true, false},    {99, true, true, false},
                        {-5, false, false, false}, {100, true, true, false}, {101, false, false, false},
                        {102, false, true, false}, {103, false, false, true}, {104, false, false, false}};
  std::vector<std::optional<SoundRecord>> sounds;
  for (const Case& c : cases) sounds.push_back(SoundRecord{"snd_" + std::to_string(c.kind), c.kind, "", 1.0f, 0, -1});
  Writer writer = MakeMinimalGame();
  add_sond(writer, sounds);
  ASSERT_TRUE(load(writer));
  for (size_t i = 0; i < std::size(cases); ++i) {
    SCOPED_TRACE(cases[i].kind);
    const SoundAsset* sound = Sound_Get(static_cast<int32_t>(i));
    ASSERT_NE(sound, nullptr);
    EXPECT_EQ(sound->streamed, cases[i].streamed);
    EXPECT_EQ(sound->compressed, cases[i].compressed);
    EXPECT_EQ(sound->decompress_on_load, cases[i].decompress);
  }
}

TEST_F(AssetSounds, RecordFieldsStartingValuesAndBlobsOfGroupZero) {
  Writer writer = MakeMinimalGame();
  add_agrp(writer, {std::string("audiogroup_default"), std::nullopt, std::string("music")});
  add_sond(writer, {SoundRecord{"snd_hit", 0, "hit.wav", 0.5f, 0, 1}, std::nullopt,
                    SoundRecord{"snd_song", 100, "song.ogg", 0.8f, 2, 0}, SoundRecord{"snd_none", 0, "", 1.0f, 0, -1}});
  add_audo(writer, {bytes("song bytes"), bytes("hit!"), std::nullopt});
  LoaderConsole console;
  ASSERT_TRUE(load(writer));
  const std::string& text = console.text();
  EXPECT_LT(text.find("AudioGroup_Load()\n"), text.find("Audio_Load()\n"));
  EXPECT_LT(text.find("Audio_Load()\n"), text.find("Audio_WAVs()\n"));

  EXPECT_EQ(AudioGroup_Table().count(), 3);
  EXPECT_STREQ(AudioGroup_Table().name(2), "music");
  EXPECT_EQ(Sound_Table().count(), 4);
  EXPECT_EQ(Sound_Get(1), nullptr);
  const SoundAsset* hit = Sound_Get(0);
  EXPECT_STREQ(Sound_Table().name(0), "snd_hit");
  EXPECT_EQ(hit->file_name, "hit.wav");
  EXPECT_FLOAT_EQ(hit->gain, 0.5f);
  EXPECT_FLOAT_EQ(hit->pitch, 1.0f);
  EXPECT_DOUBLE_EQ(hit->duration, -1.0);
  EXPECT_EQ(hit->ref_count, 1);
  ASSERT_NE(hit->data, nullptr);
  EXPECT_EQ(load_u32(hit->data), 4u);  // the blob starts with its size word
  EXPECT_EQ(hit->data_size, 4u);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(hit->data + 4), 4), "hit!");
  // A sound of group 2 waits for its group's file.
  EXPECT_EQ(Sound_Get(2)->group, 2);
  EXPECT_EQ(Sound_Get(2)->data, nullptr);
  EXPECT_EQ(Sound_Get(3)->data, nullptr);
  ASSERT_EQ(Audio_Blobs().size(), 3u);
  EXPECT_EQ(Audio_Blobs()[2].data, nullptr);

  // The same reader serves an audio group file, with that group's number and its own bytes.
  Writer group_file;
  put_audio_blobs(group_file.add_raw_chunk(make_tag("AUDO")), {bytes("group song")});
  std::vector<uint8_t> file = BuildImage(group_file);
  ASSERT_TRUE(Audio_LoadWaves(2, file.data() + 16, static_cast<uint32_t>(file.size() - 16), file.data(),
                              static_cast<uint32_t>(file.size())));
  ASSERT_NE(Sound_Get(2)->data, nullptr);
  EXPECT_EQ(Sound_Get(2)->data_size, 10u);
  EXPECT_EQ(Sound_Get(0)->data_size, 4u);  // other groups untouched
}

TEST_F(AssetSounds, WithTheAudioOptionOffGroupsAreSkippedAndEverySoundIsGroupZero) {
  Writer writer = MakeMinimalGame();
  OptnRecord options;
  options.flags &= ~optn::kOptionAudio;
  add_optn(writer, options);
  add_agrp(writer, {std::string("audiogroup_default"), std::string("music")});
  add_sond(writer, {SoundRecord{"snd_song", 0, "", 1.0f, 1, 0}});
  add_audo(writer, {bytes("abc")});
  ASSERT_TRUE(load(writer));
  EXPECT_EQ(AudioGroup_Table().count(), 0);
  EXPECT_EQ(Sound_Get(0)->group, 0);
  ASSERT_NE(Sound_Get(0)->data, nullptr);
  EXPECT_EQ(Sound_Get(0)->data_size, 3u);
}

TEST_F(AssetSounds, DamagedBlobsFailTheChunk) {
  struct Case {
    const char* what;
    uint32_t word;   // offset from the AUDO payload of the word to overwrite; ~0u: the blob's size word
    uint32_t value;  // ~0u: the file size plus 8
  };
  const Case cases[] = {{"blob passes the end of the file", ~0u, 0x7FFFFFF0u},
                        {"blob offset outside the file", 4, ~0u},
                        {"blob list cut off", 0, 0x10000000u}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    Writer writer = MakeMinimalGame();
    add_sond(writer, {SoundRecord{"snd", 0, "", 1.0f, 0, 0}});
    add_audo(writer, {bytes("abcd")});
    image_ = BuildImage(writer);
    const auto size = static_cast<uint32_t>(image_.size());
    const uint32_t audo = FindPayload(image_, "AUDO");
    const uint32_t at = c.word == ~0u ? WordAt(image_, audo + 4) : audo + c.word;
    store_u32(image_.data() + at, c.value == ~0u ? size + 8 : c.value);
    LoaderConsole console;
    HeaderScan(image_.data(), size);
    EXPECT_FALSE(LoadGameData(image_.data(), size));
    EXPECT_NE(console.text().find(std::string("Error loading game data: AUDO: ") + c.what), std::string::npos);
  }
}
