// The engine on OpenAL Soft's loopback device, which mixes into memory when asked: a played sound
// comes out at its gain and pitch.
#include <algorithm>
#include <cmath>

#include "audio_fixture.h"
#include "platform/al/al_audio.h"

using datawin::SoundRecord;

namespace {

constexpr int32_t kRate = 44100;

class AudioOpenAl : public AudioTest {
 protected:
  void SetUp() override {
    AudioTest::SetUp();
    platform_ = AudioPlatform{[](std::string* error) { return AlAudio_OpenLoopback(kRate, error); }};
    ASSERT_TRUE(load({}, {SoundRecord{"snd_tone", 0, "", 1.0f, 0, 0}}, {Wave(Sine(kRate, 441.0, 0.5))}));
    if (!Audio_Enabled()) GTEST_SKIP() << "OpenAL Soft's loopback device is not available here";
  }
  // Renders a tenth of a second; gives the left channel.
  std::vector<float> render() {
    std::vector<float> out(2 * kRate / 10);
    EXPECT_TRUE(AlAudio_Render(Audio_OutputDevice(), out.data(), kRate / 10));
    std::vector<float> left(out.size() / 2);
    for (size_t i = 0; i < left.size(); ++i) left[i] = out[2 * i];
    return left;
  }
  static float peak(const std::vector<float>& v) {
    float p = 0.0f;
    for (float x : v) p = std::max(p, std::fabs(x));
    return p;
  }
  static int crossings(const std::vector<float>& v) {
    int n = 0;
    for (size_t i = 1; i < v.size(); ++i) n += (v[i - 1] < 0.0f) != (v[i] < 0.0f);
    return n;
  }
  std::vector<float> play_and_render(double gain, double pitch) {
    const double voice = num("audio_play_sound", {R(0), R(1), R(1), R(gain), R(0), R(pitch)});
    EXPECT_GT(voice, 0);
    tick();
    render();  // the resampler's start
    std::vector<float> out = render();
    call("audio_stop_sound", {R(voice)});
    tick(3);
    render();
    return out;
  }
};

TEST_F(AudioOpenAl, PlayedSoundIsMixedAtItsGainAndPitch) {
  EXPECT_EQ(peak(render()), 0.0f);
  const std::vector<float> full = play_and_render(1.0, 1.0);
  const std::vector<float> half = play_and_render(0.5, 1.0);
  const std::vector<float> fast = play_and_render(1.0, 2.0);
  ASSERT_GT(peak(full), 0.1f);
  EXPECT_NEAR(peak(half) / peak(full), 0.5f, 0.02f);
  // 441 Hz over a tenth of a second crosses zero about 88 times; twice the pitch, twice as often.
  EXPECT_NEAR(crossings(full), 88, 3);
  EXPECT_NEAR(crossings(fast), 176, 4);
  EXPECT_EQ(peak(render()), 0.0f);  // stopped voices are gone from the mix
}

TEST_F(AudioOpenAl, MasterGainScalesTheMix) {
  const float full = peak(play_and_render(1.0, 1.0));
  call("audio_master_gain", {R(0.25)});
  const float quarter = peak(play_and_render(1.0, 1.0));
  EXPECT_NEAR(quarter / full, 0.25f, 0.02f);
}

}  // namespace
