// Sounds from the data file played through the builtins on the in-memory mixing layer: preparing,
// voice ids, the failed checks, stopping, stealing by priority, pitch and gain with ramps, the
// master gain, -noaudio.
#include <chrono>
#include <cmath>
#include <thread>

#include "audio_fixture.h"
#include "core/error.h"

using datawin::SoundRecord;

namespace {

constexpr int32_t kWave = 0, kDecoded = 1, kMusic = 2, kQuiet = 3, kGrouped = 4;

class AudioPlay : public AudioTest {
 protected:
  void SetUp() override {
    AudioTest::SetUp();
    ASSERT_TRUE(load({std::string("audiogroup_default"), std::string("music")},
                     {SoundRecord{"snd_wave", 0, "wave.wav", 1.0f, 0, 0},
                      SoundRecord{"snd_decoded", 103, "decoded.ogg", 1.0f, 0, 1},
                      SoundRecord{"snd_music", 102, "music.ogg", 0.8f, 0, 2},
                      SoundRecord{"snd_quiet", 0, "wave.wav", 0.5f, 0, 0},
                      SoundRecord{"snd_grouped", 0, "g.wav", 1.0f, 1, 0}},
                     {Wave(Sine(22050)), Ogg(11025), Ogg(44100)}));
  }
  double play(int32_t sound, double priority = 1, bool loop = false) {
    return num("audio_play_sound", {R(sound), R(priority), R(loop ? 1 : 0)});
  }
};

TEST_F(AudioPlay, SoundsArePreparedAndKnowTheirLength) {
  struct Case {
    int32_t sound;
    double seconds;
  };
  for (const Case& c : {Case{kWave, 0.5}, Case{kDecoded, 0.25}, Case{kMusic, 1.0}, Case{kQuiet, 0.5}}) {
    SCOPED_TRACE(c.sound);
    EXPECT_NEAR(num("audio_sound_length", {R(c.sound)}), c.seconds, 1e-3);
  }
  EXPECT_NE(console_.text().find("Decoding ogg snd_decoded ...\n"), std::string::npos);
  // The plain sounds and the decoded one have buffers; the compressed one is decoded while it plays.
  EXPECT_EQ(device().BufferCount(), 3);
  EXPECT_EQ(num("audio_sound_length", {R(99)}), -1.0);
  EXPECT_EQ(num("audio_get_type", {R(kMusic)}), 0.0);
  EXPECT_EQ(num("audio_get_type", {R(99)}), -1.0);
}

TEST_F(AudioPlay, VoiceIdsGoUpAndNeverRepeat) {
  double last = 400000;
  for (int i = 0; i < 5; ++i) {
    const double id = play(kWave);
    EXPECT_EQ(id, last + 1);
    last = id;
    call("audio_stop_sound", {R(id)});
    tick(3);
  }
  EXPECT_EQ(play(kDecoded), 400006);
}

TEST_F(AudioPlay, FailedChecksPrintAndGiveMinusOne) {
  struct Case {
    const char* builtin;
    std::vector<RValue> args;
    const char* message;
  };
  const Case cases[] = {
      {"audio_play_sound", {R(42), R(1), R(0)}, "Error: No sound found for asset index 42\n"},
      {"audio_play_sound", {R(kGrouped), R(1), R(0)}, "Error: Audio group for snd_grouped (4) is not loaded\n"},
      {"audio_play_sound_on", {R(3), R(kWave), R(0), R(1)}, "Error: No emitter found for index 3\n"},
      {"audio_play_sound_at", {R(7), R(0), R(0), R(0), R(1), R(2), R(1), R(0), R(1)}, "Error: No sound found for asset index 7\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.message);
    console_.clear();
    EXPECT_EQ(num(c.builtin, c.args), -1.0);
    EXPECT_EQ(console_.text(), c.message);
  }
}

TEST_F(AudioPlay, TooFewArgumentsAreScriptErrors) {
  struct Case {
    const char* builtin;
    size_t count;
    const char* message;
  };
  for (const Case& c : {Case{"audio_play_sound", 2, "audio_play_sound requires at least 3 arguments"},
                        Case{"audio_play_sound_on", 3, "audio_play_sound_on requires at least 4 arguments"},
                        Case{"audio_play_sound_at", 8, "audio_play_sound_at requires at least 9 arguments"}}) {
    const std::string raised = ErrorRaisedBy([&] { call(c.builtin, std::vector<RValue>(c.count, R(0))); });
    EXPECT_NE(raised.find(c.message), std::string::npos) << c.builtin << ": " << raised;
  }
}

TEST_F(AudioPlay, APlayedSoundIsMixedAtItsGain) {
  const double voice = num("audio_play_sound", {R(kQuiet), R(1), R(0), R(0.5)});
  tick();
  const FakeAudioSource source = source_of(voice);
  EXPECT_EQ(source.state, kSourcePlaying);
  EXPECT_FLOAT_EQ(source.gain, 0.25f);  // voice 0.5 x sound 0.5
  std::vector<float> out(2 * 2000, 0.0f);
  device().Mix(out.data(), 2000);
  float peak = 0.0f;
  for (float v : out) peak = std::max(peak, std::fabs(v));
  EXPECT_NEAR(peak, 0.5f * 0.25f, 0.01f);
}

TEST_F(AudioPlay, StoppedSoundIsSilentAtOnceAndReleasedTwoFramesLater) {
  const double voice = play(kWave, 1, true);
  tick();
  EXPECT_EQ(num("audio_is_playing", {R(kWave)}), 1.0);
  const uint32_t source = source_id(voice);
  call("audio_stop_sound", {R(kWave)});
  EXPECT_EQ(num("audio_is_playing", {R(kWave)}), 0.0);
  EXPECT_EQ(num("audio_is_playing", {R(voice)}), 0.0);
  FakeAudioSource s;
  ASSERT_TRUE(device().Source(source, &s));
  EXPECT_EQ(s.state, kSourcePlaying);
  EXPECT_EQ(s.gain, 0.0f);
  tick();
  ASSERT_TRUE(device().Source(source, &s));
  EXPECT_EQ(s.state, kSourcePlaying);
  tick();
  ASSERT_TRUE(device().Source(source, &s));
  EXPECT_NE(s.state, kSourcePlaying);
}

TEST_F(AudioPlay, ASoundEndsAfterItsLength) {
  const double voice = play(kWave);
  tick(29);  // 0.48 s
  EXPECT_EQ(num("audio_is_playing", {R(voice)}), 1.0);
  tick(2);
  EXPECT_EQ(num("audio_is_playing", {R(voice)}), 0.0);
}

TEST_F(AudioPlay, PrioritiesStealOnlyFromLower) {
  for (int i = 0; i < 128; ++i) ASSERT_GT(play(kWave, 1, true), 0) << i;
  EXPECT_EQ(play(kWave, 1), -1.0);
  EXPECT_EQ(play(kWave, 0.5), -1.0);
  const double stolen = play(kWave, 2);
  EXPECT_GT(stolen, 0);
  EXPECT_EQ(num("audio_exists", {R(400001)}), 0.0);  // the first, lowest of equals, was stopped
  EXPECT_EQ(num("audio_exists", {R(400002)}), 1.0);
}

TEST_F(AudioPlay, ChannelCountRoundsAndRemakesTheSources) {
  struct Case {
    int n, sources;
  };
  for (const Case& c : {Case{5, 6}, Case{1, 4}, Case{8, 8}, Case{0, 4}, Case{130, 132}}) {
    SCOPED_TRACE(c.n);
    call("audio_channel_num", {R(c.n)});
    EXPECT_EQ(device().SourceCount(), c.sources);
  }
  call("audio_channel_num", {R(2)});  // 4 voices
  for (int i = 0; i < 4; ++i) EXPECT_GT(play(kWave, 1, true), 0);
  EXPECT_EQ(play(kWave, 1), -1.0);
}

TEST_F(AudioPlay, PitchIsClampedAndReachesTheSource) {
  struct Case {
    double asked;
    float stored;
  };
  const double voice = play(kWave, 1, true);
  for (const Case& c : {Case{0, 0.0039f}, Case{-3, 0.0039f}, Case{2, 2.0f}, Case{1000, 256.0f}}) {
    SCOPED_TRACE(c.asked);
    call("audio_sound_pitch", {R(voice), R(c.asked)});
    EXPECT_FLOAT_EQ(static_cast<float>(num("audio_sound_get_pitch", {R(voice)})), c.stored);
    EXPECT_FLOAT_EQ(source_of(voice).pitch, c.stored);
  }
  // On the sound: stored there and multiplied into its live voices.
  call("audio_sound_pitch", {R(voice), R(1.5)});
  call("audio_sound_pitch", {R(kWave), R(2)});
  EXPECT_FLOAT_EQ(source_of(voice).pitch, 3.0f);
  EXPECT_EQ(num("audio_sound_get_pitch", {R(kWave)}), 2.0);
}

TEST_F(AudioPlay, GainRampReachesEveryVoiceIncludingLateOnes) {
  const double early = play(kWave, 1, true);
  call("audio_sound_gain", {R(kWave), R(0.5), R(1000)});
  tick(30);
  const double late = play(kWave, 1, true);
  tick(1);
  const float halfway = source_of(early).gain;
  EXPECT_GT(halfway, 0.5f);
  EXPECT_LT(halfway, 1.0f);
  EXPECT_FLOAT_EQ(source_of(late).gain, halfway);
  tick(31);
  EXPECT_FLOAT_EQ(source_of(early).gain, 0.5f);
  EXPECT_FLOAT_EQ(source_of(late).gain, 0.5f);
  EXPECT_EQ(num("audio_sound_get_gain", {R(kWave)}), 0.5);
  // Gain 0 at once on a voice only.
  call("audio_sound_gain", {R(late), R(-2), R(0)});
  EXPECT_EQ(source_of(late).gain, 0.0f);
  EXPECT_FLOAT_EQ(source_of(early).gain, 0.5f);
}

TEST_F(AudioPlay, MasterGainIsTheFirstListenersOnly) {
  call("audio_set_master_gain", {R(1), R(0.5)});
  tick();
  EXPECT_EQ(device().Listener().gain, 1.0f);
  EXPECT_EQ(num("audio_get_master_gain", {R(1)}), 0.0);
  call("audio_set_master_gain", {R(0), R(-1)});
  EXPECT_EQ(num("audio_get_master_gain", {R(0)}), 0.0);
  call("audio_set_master_gain", {R(0), R(0.25)});
  tick();
  EXPECT_EQ(device().Listener().gain, 0.25f);
}

TEST_F(AudioPlay, PauseResumeAndTrackPosition) {
  const double voice = play(kWave);
  tick(6);  // 0.1 s
  EXPECT_NEAR(num("audio_sound_get_track_position", {R(voice)}), 0.1, 0.002);
  call("audio_pause_sound", {R(voice)});
  EXPECT_EQ(num("audio_is_paused", {R(kWave)}), 1.0);
  EXPECT_EQ(source_of(voice).state, kSourcePaused);
  tick(30);
  EXPECT_NEAR(num("audio_sound_get_track_position", {R(voice)}), 0.1, 0.002);
  call("audio_resume_all");
  tick();
  EXPECT_EQ(source_of(voice).state, kSourcePlaying);
  call("audio_sound_set_track_position", {R(voice), R(0.4)});
  EXPECT_NEAR(num("audio_sound_get_track_position", {R(voice)}), 0.4, 0.002);
  // A sound's own position is where its new voices start, below its length only.
  call("audio_sound_set_track_position", {R(kWave), R(0.25)});
  call("audio_sound_set_track_position", {R(kWave), R(9)});
  EXPECT_EQ(num("audio_sound_get_track_position", {R(kWave)}), 0.25);
  const double second = play(kWave);
  EXPECT_NEAR(num("audio_sound_get_track_position", {R(second)}), 0.25, 0.002);
}

TEST_F(AudioPlay, ExistsByRange) {
  const double voice = play(kWave, 1, true);
  struct Case {
    double id, exists;
  };
  for (const Case& c : {Case{kWave, 1}, Case{kMusic, 1}, Case{99, 0}, Case{100000, 0}, Case{200000, 0}, Case{voice, 1},
                        Case{voice + 1, 0}}) {
    EXPECT_EQ(num("audio_exists", {R(c.id)}), c.exists) << c.id;
  }
}

TEST_F(AudioPlay, CompressedSoundStreamsToTheEnd) {
  const double voice = play(kMusic);
  EXPECT_EQ(num("audio_exists", {R(voice)}), 1.0);
  tick(30);
  EXPECT_EQ(num("audio_is_playing", {R(voice)}), 1.0);
  // The worker feeds the voice's source with decoded blocks.
  bool fed = false;
  for (int i = 0; i < 200 && !fed; ++i) {
    FakeAudioSource s;
    fed = device().Source(source_id(voice), &s) && !s.queue.empty() && s.state == kSourcePlaying;
    if (!fed) std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  EXPECT_TRUE(fed);
  tick(31);
  EXPECT_EQ(num("audio_is_playing", {R(voice)}), 0.0);
  EXPECT_EQ(num("audio_exists", {R(voice)}), 0.0);
}

TEST_F(AudioPlay, FalloffModels) {
  struct Case {
    int model;
    int32_t sent;
  };
  for (const Case& c : {Case{1, 53249}, Case{4, 53252}, Case{8, 53256}, Case{0, 0}}) {
    call("audio_falloff_set_model", {R(c.model)});
    EXPECT_EQ(device().DistanceModel(), c.sent) << c.model;
  }
  console_.clear();
  call("audio_falloff_set_model", {R(9)});
  EXPECT_EQ(console_.text(), "Attempting to set audio falloff to unknown model\n");
  EXPECT_EQ(device().DistanceModel(), 0);
  // A sound at a position takes the current model and its falloff.
  call("audio_falloff_set_model", {R(2)});
  const double voice = num("audio_play_sound_at", {R(kWave), R(10), R(20), R(0), R(50), R(500), R(2), R(0), R(1)});
  const AudioSourcePlacement p = source_of(voice).placement;
  EXPECT_FALSE(p.relative);
  EXPECT_EQ(p.position[0], 10.0f);
  EXPECT_EQ(p.position[1], 20.0f);
  EXPECT_EQ(p.referenceDistance, 50.0f);
  EXPECT_EQ(p.maxDistance, 500.0f);
  EXPECT_EQ(p.rolloff, 2.0f);
  EXPECT_EQ(p.distanceModel, 53250);
}

TEST_F(AudioPlay, EmittersCarryTheirVoices) {
  const double emitter = num("audio_emitter_create");
  EXPECT_EQ(emitter, 0.0);
  call("audio_emitter_gain", {R(emitter), R(0.5)});
  call("audio_emitter_position", {R(emitter), R(5), R(6), R(7)});
  const double voice = num("audio_play_sound_on", {R(emitter), R(kWave), R(1), R(1)});
  ASSERT_GT(voice, 0);
  EXPECT_FLOAT_EQ(source_of(voice).gain, 0.5f);
  call("audio_emitter_position", {R(emitter), R(50), R(60), R(70)});
  tick();
  EXPECT_EQ(source_of(voice).placement.position[0], 50.0f);
  EXPECT_EQ(num("audio_emitter_get_x", {R(emitter)}), 50.0);
  call("audio_emitter_free", {R(emitter)});
  EXPECT_EQ(num("audio_emitter_exists", {R(emitter)}), 0.0);
  EXPECT_EQ(num("audio_exists", {R(voice)}), 0.0);
  EXPECT_EQ(num("audio_emitter_get_pitch", {R(emitter)}), 1.0);  // neutral for a gone emitter
  EXPECT_EQ(num("audio_emitter_create"), 0.0);                    // the hole is reused
}

class AudioOff : public AudioTest {};

TEST_F(AudioOff, NoAudioGivesNeutralResults) {
  ASSERT_TRUE(load({}, {SoundRecord{"snd_wave", 0, "wave.wav", 1.0f, 0, 0}}, {Wave(Sine(100))}, true));
  EXPECT_EQ(FakeAudio_LastOpened(), nullptr);
  EXPECT_EQ(num("audio_play_sound", {R(0), R(1), R(0)}), -1.0);
  EXPECT_EQ(num("audio_system_is_available"), 0.0);
  EXPECT_EQ(num("audio_sound_length", {R(0)}), -1.0);
  EXPECT_EQ(num("audio_exists", {R(0)}), 0.0);
  tick();
}

}  // namespace
