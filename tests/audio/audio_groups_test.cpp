// Audio groups loaded from their files and unloaded, sounds made from buffers, play queues with
// their playback events, streams from files, and recording into buffers.
#include <chrono>
#include <thread>

#include "audio/audio_sync.h"
#include "audio_fixture.h"
#include "platform/files.h"
#include "storage/buffer.h"

using datawin::SoundRecord;

namespace {

constexpr int32_t kWave = 0, kGroupWave = 1, kGroupOgg = 2, kOtherGroup = 3;

class AudioGroups : public AudioTest {
 protected:
  void SetUp() override {
    AudioTest::SetUp();
    ASSERT_TRUE(load({std::string("audiogroup_default"), std::string("music"), std::string("voices"), std::string("empty")},
                     {SoundRecord{"snd_wave", 0, "", 1.0f, 0, 0}, SoundRecord{"snd_group_wave", 0, "", 1.0f, 1, 0},
                      SoundRecord{"snd_group_ogg", 103, "", 1.0f, 1, 1}, SoundRecord{"snd_other", 0, "", 1.0f, 2, 0}},
                     {Wave(Sine(4410))}));
  }
  void write_group(int32_t group, const std::vector<uint8_t>& bytes) {
    const std::string path = dir_.file("audiogroup" + std::to_string(group) + ".dat");
    ASSERT_TRUE(Platform_WriteWholeFile(path, bytes.data(), bytes.size()));
  }
  // Ticks until the group is loaded (the load thread decodes at its own pace), at most two seconds.
  bool tick_until_loaded(int32_t group) {
    for (int i = 0; i < 400; ++i) {
      tick();
      if (num("audio_group_is_loaded", {R(group)}) == 1.0) return true;
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return false;
  }
};

TEST_F(AudioGroups, GroupZeroIsAlwaysLoaded) {
  EXPECT_EQ(num("audio_group_is_loaded", {R(0)}), 1.0);
  EXPECT_EQ(num("audio_group_load_progress", {R(0)}), 100.0);
  EXPECT_EQ(num("audio_group_load", {R(0)}), 0.0);
  EXPECT_EQ(num("audio_group_unload", {R(0)}), 0.0);
  RValue name = call("audio_group_name", {R(1)});
  EXPECT_STREQ(RV_StringText(name), "music");
  RV_Free(&name);
}

TEST_F(AudioGroups, LoadPlayUnload) {
  write_group(1, AudioGroupFile({Wave(Sine(22050)), Ogg(4410)}));
  EXPECT_EQ(num("audio_play_sound", {R(kGroupWave), R(1), R(0)}), -1.0);
  EXPECT_EQ(num("audio_group_load_progress", {R(1)}), 0.0);
  console_.clear();
  EXPECT_EQ(num("audio_group_load", {R(1)}), 1.0);
  EXPECT_NE(console_.text().find("Audio group 1 -> Loading...\n"), std::string::npos);
  EXPECT_EQ(num("audio_group_load", {R(1)}), 0.0);  // loading already
  ASSERT_TRUE(tick_until_loaded(1));
  EXPECT_NE(console_.text().find("Audio group 1 -> Loaded\n"), std::string::npos);
  EXPECT_EQ(num("audio_group_load_progress", {R(1)}), 100.0);
  ASSERT_EQ(events_.size(), 1u);
  EXPECT_EQ(events_[0].subtype, 72);
  EXPECT_EQ(events_[0].get("type"), "audiogroup_load");
  EXPECT_EQ(events_[0].get("group_id"), "1");
  EXPECT_NEAR(num("audio_sound_length", {R(kGroupWave)}), 0.5, 1e-3);
  EXPECT_NEAR(num("audio_sound_length", {R(kGroupOgg)}), 0.1, 1e-3);

  const int32_t buffers = device().BufferCount();
  const double voice = num("audio_play_sound", {R(kGroupWave), R(1), R(1)});
  ASSERT_GT(voice, 0);
  tick();
  EXPECT_EQ(num("audio_group_unload", {R(1)}), 1.0);
  EXPECT_EQ(num("audio_is_playing", {R(voice)}), 0.0);  // stopped at once
  EXPECT_EQ(num("audio_group_is_loaded", {R(1)}), 0.0);
  tick(4);
  EXPECT_NE(console_.text().find("Audio group 1 -> Unloaded\n"), std::string::npos);
  // The plain sound's buffer goes; the one decoded at load stays for the next load.
  EXPECT_EQ(device().BufferCount(), buffers - 1);
  EXPECT_EQ(num("audio_play_sound", {R(kGroupWave), R(1), R(0)}), -1.0);
  // And it loads again.
  EXPECT_EQ(num("audio_group_load", {R(1)}), 1.0);
  ASSERT_TRUE(tick_until_loaded(1));
  EXPECT_GT(num("audio_play_sound", {R(kGroupWave), R(1), R(0)}), 0);
}

TEST_F(AudioGroups, LoadFailures) {
  struct Case {
    int32_t group;
    std::vector<uint8_t> file;  // empty: no file
    const char* message;        // null: no line
  };
  const std::vector<uint8_t> not_audo = {'J', 'U', 'N', 'K', 0, 0, 0, 0};
  const Case cases[] = {
      {2, {}, "Failed to load "},
      {2, not_audo, "Format error loading "},
      {3, AudioGroupFile({Wave(Sine(10))}), nullptr},  // a group without sounds
      {9, {}, nullptr},                                // no such group
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.group);
    if (!c.file.empty()) write_group(c.group, c.file);
    console_.clear();
    EXPECT_EQ(num("audio_group_load", {R(c.group)}), 0.0);
    if (c.message != nullptr) {
      EXPECT_EQ(console_.text().find(c.message), 0u) << console_.text();
      EXPECT_NE(console_.text().find("audiogroup" + std::to_string(c.group) + ".dat\n"), std::string::npos);
    } else {
      EXPECT_EQ(console_.text(), "");
    }
  }
  EXPECT_EQ(num("audio_group_is_loaded", {R(2)}), 0.0);
}

TEST_F(AudioGroups, GroupGainRampsEachOfItsSounds) {
  write_group(1, AudioGroupFile({Wave(Sine(22050)), Ogg(4410)}));
  ASSERT_EQ(num("audio_group_load", {R(1)}), 1.0);
  ASSERT_TRUE(tick_until_loaded(1));
  call("audio_group_set_gain", {R(1), R(0.25), R(500)});
  tick(31);
  EXPECT_FLOAT_EQ(static_cast<float>(num("audio_sound_get_gain", {R(kGroupWave)})), 0.25f);
  EXPECT_FLOAT_EQ(static_cast<float>(num("audio_sound_get_gain", {R(kGroupOgg)})), 0.25f);
  EXPECT_FLOAT_EQ(static_cast<float>(num("audio_sound_get_gain", {R(kWave)})), 1.0f);
}

class AudioGenerated : public AudioGroups {};

TEST_F(AudioGenerated, BufferSoundChecks) {
  const int32_t fixed = Buffer_Create(1000, kBufferFixed, 1);
  const int32_t grow = Buffer_Create(1000, kBufferGrow, 1);
  struct Case {
    std::vector<RValue> args;
    const char* message;
  };
  const Case cases[] = {
      {{R(77), R(4), R(44100), R(0), R(100), R(0)}, "audio_create_buffer_sound: Invalid buffer id: 77\n"},
      {{R(grow), R(4), R(44100), R(0), R(100), R(0)}, "audio_create_buffer_sound: unsupported buffer type (buffer_grow)\n"},
      {{R(fixed), R(8), R(44100), R(0), R(100), R(0)}, "audio_create_buffer_sound: unsupported format (use buffer_u8,buffer_s16)\n"},
      {{R(fixed), R(4), R(44100), R(0), R(100), R(5)},
       "audio_create_buffer_sound: channels should be audio_mono, audio_stereo, or audio_3d\n"},
      {{R(fixed), R(4), R(44100), R(900), R(200), R(0)},
       "audio_create_buffer_sound: not enough data in buffer to create sound with offset 900 length 200\n"},
      {{R(fixed), R(4), R(0), R(0), R(100), R(0)},
       "audio_create_buffer_sound: can't create buffer from this data - please check the parameters\n"},
  };
  for (const Case& c : cases) {
    console_.clear();
    EXPECT_EQ(num("audio_create_buffer_sound", c.args), -1.0);
    EXPECT_EQ(console_.text(), c.message);
  }
}

TEST_F(AudioGenerated, BufferSoundsPlayAndKnowTheirLength) {
  struct Case {
    int32_t format, channels, rate, length;
    double seconds;
  };
  const int32_t buffer = Buffer_Create(8000, kBufferFixed, 1);
  double first = -1;
  for (const Case& c : {Case{4, 0, 8000, 8000, 0.5}, Case{4, 1, 8000, 8000, 0.25}, Case{1, 2, 4000, 2000, 0.5}}) {
    const double sound = num("audio_create_buffer_sound", {R(buffer), R(c.format), R(c.rate), R(0), R(c.length), R(c.channels)});
    ASSERT_GE(sound, 100000);
    if (first < 0) first = sound;
    EXPECT_NEAR(num("audio_sound_length", {R(sound)}), c.seconds, 1e-6);
    EXPECT_EQ(num("audio_exists", {R(sound)}), 0.0);  // the buffer range is never reported
    const double voice = num("audio_play_sound", {R(sound), R(1), R(0)});
    EXPECT_GT(voice, 0);
    EXPECT_EQ(source_of(voice).state, kSourceInitial);  // started with the frame's others
    Audio_Flush();
    EXPECT_EQ(source_of(voice).state, kSourcePlaying);
  }
  EXPECT_EQ(first, 100000);
  call("audio_free_buffer_sound", {R(first)});
  EXPECT_EQ(num("audio_play_sound", {R(first), R(1), R(0)}), -1.0);
  // The lowest free slot is taken again.
  EXPECT_EQ(num("audio_create_buffer_sound", {R(buffer), R(4), R(8000), R(0), R(100), R(0)}), 100000.0);
}

TEST_F(AudioGenerated, QueuedBuffersPlayInTurnAndComeBack) {
  const double queue = num("audio_create_play_queue", {R(4), R(44100), R(0)});
  EXPECT_EQ(queue, 200000.0);
  const std::vector<int16_t> pcm = Sine(4410);  // 0.1 s each
  const int32_t a = Buffer_CreateFromBytes(pcm.data(), 8820, kBufferFixed, 1);
  const int32_t b = Buffer_CreateFromBytes(pcm.data(), 8820, kBufferFixed, 1);
  EXPECT_EQ(num("audio_queue_sound", {R(queue), R(a), R(0), R(8820)}), 1.0);
  EXPECT_EQ(num("audio_queue_sound", {R(queue), R(b), R(0), R(8820)}), 1.0);
  console_.clear();
  EXPECT_EQ(num("audio_queue_sound", {R(200009), R(a), R(0), R(8820)}), -1.0);
  EXPECT_EQ(console_.text(), "audio_queue_buffer_sound: Invalid queue id: 200009\n");
  const double voice = num("audio_play_sound", {R(queue), R(1), R(0)});
  ASSERT_GT(voice, 0);
  tick();
  EXPECT_EQ(source_of(voice).queue.size(), 2u);
  device().Mix(nullptr, 4410 + 10);  // the device plays the first through
  tick(6);
  ASSERT_EQ(events_.size(), 1u);
  EXPECT_EQ(events_[0].subtype, 74);
  EXPECT_EQ(events_[0].get("queue_id"), "200000");
  EXPECT_EQ(events_[0].get("buffer_id"), std::to_string(a));
  EXPECT_EQ(events_[0].get("queue_shutdown"), "0");
  // Freeing the queue hands back what it still holds.
  call("audio_free_play_queue", {R(queue)});
  ASSERT_EQ(events_.size(), 2u);
  EXPECT_EQ(events_[1].get("buffer_id"), std::to_string(b));
  EXPECT_EQ(events_[1].get("queue_shutdown"), "1");
  EXPECT_EQ(num("audio_exists", {R(queue)}), 0.0);
}

TEST_F(AudioGenerated, StreamsPlayFromFiles) {
  const std::vector<uint8_t> ogg = Ogg(22050);
  ASSERT_TRUE(Platform_WriteWholeFile(dir_.file("song.ogg"), ogg.data(), ogg.size()));
  console_.clear();
  EXPECT_EQ(num("audio_create_stream", {S("missing.ogg")}), -1.0);
  EXPECT_EQ(console_.text(), "audio_create_stream : could not file file 'missing.ogg'\n");
  const double stream = num("audio_create_stream", {S("song.ogg")});
  EXPECT_EQ(stream, 300000.0);
  EXPECT_EQ(num("audio_exists", {R(stream)}), 1.0);
  EXPECT_NEAR(num("audio_sound_length", {R(stream)}), 0.5, 1e-3);
  const double voice = num("audio_play_sound", {R(stream), R(1), R(0)});
  ASSERT_GT(voice, 0);
  tick(20);
  EXPECT_EQ(num("audio_is_playing", {R(voice)}), 1.0);
  tick(12);
  EXPECT_EQ(num("audio_is_playing", {R(voice)}), 0.0);
  EXPECT_EQ(num("audio_destroy_stream", {R(stream)}), 1.0);
  EXPECT_EQ(num("audio_exists", {R(stream)}), 0.0);
  console_.clear();
  EXPECT_EQ(num("audio_destroy_stream", {R(stream)}), -1.0);
  EXPECT_EQ(console_.text(), "audio_destroy_stream : Invalid stream id: 300000\n");
}

TEST_F(AudioGenerated, SyncGroupsTakeCompressedSoundsAndStartTogether) {
  const std::vector<uint8_t> ogg = Ogg(44100);
  ASSERT_TRUE(Platform_WriteWholeFile(dir_.file("a.ogg"), ogg.data(), ogg.size()));
  const double stream = num("audio_create_stream", {S("a.ogg")});
  const double group = num("audio_create_sync_group", {R(0)});
  console_.clear();
  EXPECT_EQ(num("audio_play_in_sync_group", {R(group), R(kWave)}), -1.0);
  EXPECT_EQ(console_.text(), "Error: cannot play uncompressed sounds in a sync group\n");
  const double a = num("audio_play_in_sync_group", {R(group), R(stream)});
  const double b = num("audio_play_in_sync_group", {R(group), R(stream)});
  ASSERT_GT(a, 0);
  ASSERT_GT(b, 0);
  tick(5);
  EXPECT_EQ(num("audio_sync_group_is_playing", {R(group)}), 0.0);
  EXPECT_EQ(num("audio_sync_group_get_track_pos", {R(group)}), 0.0);
  call("audio_start_sync_group", {R(group)});
  tick(6);
  EXPECT_EQ(num("audio_sync_group_is_playing", {R(group)}), 1.0);
  EXPECT_NEAR(num("audio_sync_group_get_track_pos", {R(group)}), 0.1, 0.002);
  EXPECT_NEAR(num("audio_sound_get_track_position", {R(b)}), 0.1, 0.002);
  for (int i = 2; i < kSyncGroupMaxSounds; ++i) num("audio_play_in_sync_group", {R(group), R(stream)});
  console_.clear();
  EXPECT_EQ(num("audio_play_in_sync_group", {R(group), R(stream)}), -1.0);
  EXPECT_EQ(console_.text(), "Too many sounds added to sync group, not adding this one.\n");
  call("audio_stop_sync_group", {R(group)});
  EXPECT_EQ(num("audio_sync_group_is_playing", {R(group)}), 0.0);
  EXPECT_EQ(num("audio_is_playing", {R(a)}), 0.0);
}

TEST_F(AudioGenerated, RecordingFillsBuffersWithEvents) {
  EXPECT_EQ(num("audio_get_recorder_count"), 0.0);
  device().AddCaptureDevice("mic", Sine(4000, 440, 0.5, 16000));
  EXPECT_EQ(num("audio_get_recorder_count"), 1.0);
  EXPECT_EQ(num("audio_start_recording", {R(3)}), -1.0);
  const double channel = num("audio_start_recording", {R(0)});
  EXPECT_EQ(channel, 0.0);
  tick();
  ASSERT_EQ(events_.size(), 1u);
  EXPECT_EQ(events_[0].subtype, 73);
  EXPECT_EQ(events_[0].get("channel_index"), "0");
  EXPECT_EQ(events_[0].get("data_len"), "8000");
  IBuffer* buffer = Buffer_Get(std::stoi(events_[0].get("buffer_id")));
  ASSERT_NE(buffer, nullptr);
  EXPECT_EQ(buffer->size, 8000);
  call("audio_stop_recording", {R(channel)});
  tick();
  EXPECT_EQ(events_.size(), 1u);
}

}  // namespace
